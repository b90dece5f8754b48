#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "corvane/platform/Export.h"

namespace corvane {

/// Uninterpreted bytes, as a Value.
struct Data {
  std::vector<std::uint8_t> bytes;  ///< any

  bool operator==(const Data&) const = default;
};

/// A moment, counted as in property lists: seconds since 2001-01-01T00:00:00Z without leap seconds, negative before
/// that, fractions allowed.
struct Date {
  /// 2001-01-01T00:00:00Z in Unix seconds.
  static constexpr double UNIX_SECONDS_AT_ZERO = 978307200;

  double seconds = 0;  ///< since 2001-01-01T00:00:00Z

  /// From and to seconds since 1970-01-01T00:00:00Z.
  static Date fromUnixSeconds(double unixSeconds) { return {unixSeconds - UNIX_SECONDS_AT_ZERO}; }
  double unixSeconds() const { return seconds + UNIX_SECONDS_AT_ZERO; }

  bool operator==(const Date&) const = default;
};

/// What settings and property lists consist of: a dictionary, an array, or one of six plain kinds. A Value owns its
/// contents, is copied deeply, and is as safe to share between threads as a std::string.
///
/// Values are created by implicit conversion and read by asking for the expected kind:
///
///     const Value window = Value::Dictionary{{"title", "Inbox"}, {"width", 640}};
///     const Value* width = window.find("width");
///     if (width && width->isInteger()) resize(*width->asInteger());
///
/// Nothing is converted when reading: an integer is not a real, and a string of digits is not a number.
///
/// Copying, comparing and destroying a Value takes stack for each level of nesting, up to 1 KiB: 512 KiB for the
/// deepest property list (MAX_PROPERTY_LIST_DEPTH, 512 levels). A thread with a small stack must not use Values that
/// are nested so deeply: see PropertyListLimits::maxDepth.
class CORVANE_API Value {
 public:
  using Array = std::vector<Value>;                              ///< what an array holds
  using Dictionary = std::map<std::string, Value, std::less<>>;  ///< what a dictionary holds

  /// An empty dictionary.
  Value();
  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  /// A value of this content.
  Value(Dictionary dictionary) : m_content(std::move(dictionary)) {}
  Value(Array array) : m_content(std::move(array)) {}
  /// Text in UTF-8. A Value takes any bytes; writing those that are not UTF-8 to a property list fails.
  Value(std::string text) : m_content(std::move(text)) {}
  Value(std::string_view text) : m_content(std::string(text)) {}
  Value(const char* text) : m_content(std::string(text)) {}
  /// Other content.
  Value(Data data) : m_content(std::move(data)) {}
  Value(Date date) : m_content(date) {}
  Value(std::same_as<bool> auto truth) : m_content(truth) {}
  Value(std::floating_point auto real) : m_content(static_cast<double>(real)) {}
  /// Integers of every type whose whole range fits; the caller must convert others with care.
  template <std::integral T>
    requires(!std::same_as<T, bool> && (std::signed_integral<T> || sizeof(T) < sizeof(std::int64_t)))
  Value(T integer) : m_content(static_cast<std::int64_t>(integer)) {}

  /// Whether it is of this kind.
  bool isDictionary() const { return asDictionary() != nullptr; }
  bool isArray() const { return asArray() != nullptr; }
  bool isString() const { return asString() != nullptr; }
  bool isInteger() const { return asInteger() != nullptr; }
  bool isReal() const { return asReal() != nullptr; }
  bool isBool() const { return asBool() != nullptr; }
  bool isData() const { return asData() != nullptr; }
  bool isDate() const { return asDate() != nullptr; }

  /// The Value's content, or nullptr if it is of another kind. Valid until the Value is changed or destroyed.
  const Dictionary* asDictionary() const { return std::get_if<Dictionary>(&m_content); }
  const Array* asArray() const { return std::get_if<Array>(&m_content); }
  const std::string* asString() const { return std::get_if<std::string>(&m_content); }
  const std::int64_t* asInteger() const { return std::get_if<std::int64_t>(&m_content); }
  const double* asReal() const { return std::get_if<double>(&m_content); }
  const bool* asBool() const { return std::get_if<bool>(&m_content); }
  const Data* asData() const { return std::get_if<Data>(&m_content); }
  const Date* asDate() const { return std::get_if<Date>(&m_content); }

  /// The dictionary's entry with that name; nullptr if there is none or if this is not a dictionary.
  const Value* find(std::string_view key) const;

  /// Same kind and same content. Two reals that are not numbers are equal, so that a Value equals its copy.
  bool operator==(const Value& other) const;

 private:
  std::variant<Dictionary, Array, std::string, std::int64_t, double, bool, Data, Date> m_content;
};

}  // namespace corvane
