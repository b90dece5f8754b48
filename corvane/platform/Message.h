#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Value.h"

namespace corvane {

/// A file descriptor in a message. Copies share it; the last one closes it.
class CORVANE_API SharedDescriptor {
 public:
  /// Takes the descriptor over.
  explicit SharedDescriptor(int fd);

  /// Negative if there is none. Valid for as long as a copy exists: to keep it longer, duplicate it.
  int get() const { return *m_fd; }

  /// The same open descriptor object, not only the same file.
  bool operator==(const SharedDescriptor&) const = default;

 private:
  std::shared_ptr<const int> m_fd;
};

/// Why there is no answer to a request.
struct MessageError {
  /// What a program may want to tell apart.
  enum class Kind : std::uint8_t {
    INTERRUPTED,  ///< the other side ended before it answered
    INVALID,      ///< the connection has ended, or there is nothing to connect to
    OTHER,        ///< refused: by the receiver, by the system's policy, or by a limit
  };
  Kind kind = Kind::OTHER;  ///< which of them
  std::string name;         ///< the system's own name of the error; may be empty
  std::string description;  ///< in words

  bool operator==(const MessageError&) const = default;
};

/// What requests and replies between processes consist of: a dictionary, an array, one of the plain kinds of a Value,
/// nothing, a file descriptor, or, in place of a reply, an error. Owns its contents and is copied deeply, except for
/// descriptors.
///
/// Like a Value it is created by implicit conversion and read by asking for the expected kind; nothing is converted
/// when reading, so a request from a stranger can be read without fear:
///
///     Message request = Message::Dictionary{{"unmount", "sdb1"}, {"force", true}};
///     const std::string* device = request.find("unmount") ? request.find("unmount")->asString() : nullptr;
class CORVANE_API Message {
 public:
  using Array = std::vector<Message>;                              ///< what a list holds
  using Dictionary = std::map<std::string, Message, std::less<>>;  ///< what a dictionary holds
  using Null = std::monostate;                                     ///< nothing

  /// An empty dictionary.
  Message();
  Message(const Message& other);
  Message(Message&& other) noexcept;
  Message& operator=(const Message& other);
  Message& operator=(Message&& other) noexcept;
  ~Message();

  /// A message of this content.
  Message(Null null) : m_content(null) {}
  Message(Dictionary dictionary) : m_content(std::move(dictionary)) {}
  Message(Array array) : m_content(std::move(array)) {}
  /// UTF-8 without NUL: other text cannot be sent.
  Message(std::string text) : m_content(std::move(text)) {}
  Message(std::string_view text) : m_content(std::string(text)) {}
  Message(const char* text) : m_content(std::string(text)) {}
  /// Other content.
  Message(Data data) : m_content(std::move(data)) {}
  Message(Date date) : m_content(date) {}
  Message(SharedDescriptor descriptor) : m_content(std::move(descriptor)) {}
  Message(MessageError error) : m_content(std::move(error)) {}
  Message(std::same_as<bool> auto truth) : m_content(truth) {}
  Message(std::floating_point auto real) : m_content(static_cast<double>(real)) {}
  /// Integers of every type whose whole range fits.
  template <std::integral T>
    requires(!std::same_as<T, bool> && (std::signed_integral<T> || sizeof(T) < sizeof(std::int64_t)))
  Message(T integer) : m_content(static_cast<std::int64_t>(integer)) {}

  /// Whether it holds nothing.
  bool isNull() const { return std::holds_alternative<Null>(m_content); }

  /// The content, or nullptr if it is of another kind. Valid until the Message is changed or destroyed.
  const Dictionary* asDictionary() const { return std::get_if<Dictionary>(&m_content); }
  const Array* asArray() const { return std::get_if<Array>(&m_content); }
  const std::string* asString() const { return std::get_if<std::string>(&m_content); }
  const std::int64_t* asInteger() const { return std::get_if<std::int64_t>(&m_content); }
  const double* asReal() const { return std::get_if<double>(&m_content); }
  const bool* asBool() const { return std::get_if<bool>(&m_content); }
  const Data* asData() const { return std::get_if<Data>(&m_content); }
  const Date* asDate() const { return std::get_if<Date>(&m_content); }
  const SharedDescriptor* asDescriptor() const { return std::get_if<SharedDescriptor>(&m_content); }
  /// The error that a reply consists of.
  const MessageError* asError() const { return std::get_if<MessageError>(&m_content); }

  /// The dictionary's entry with that key; nullptr if there is none or if this is not a dictionary.
  const Message* find(std::string_view key) const;

  /// Sets an entry. Anything but a dictionary becomes one first.
  void set(std::string key, Message value);

  /// Same kind and same content. Two reals that are not numbers are equal.
  bool operator==(const Message& other) const;

 private:
  std::variant<Dictionary, Null, Array, std::string, std::int64_t, double, bool, Data, Date, SharedDescriptor,
               MessageError>
      m_content;
};

/// What can be sent. A message beyond a limit is refused before it is sent, with an error that names the limit.
struct MessageLimits {
  static constexpr std::size_t BYTES = std::size_t{31} << 20;  ///< of the whole message, encoded
  static constexpr std::size_t VALUES = 100'000;               ///< in all dictionaries and arrays together
  static constexpr std::size_t DESCRIPTORS = 16;               ///< files that are handed over
  static constexpr std::size_t DEPTH = 20;  ///< levels of dictionaries and arrays, the outermost included
};

}  // namespace corvane
