#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "corvane/infra/values/PropertyList.h"

/// Shared by the readers and writers of both formats; not for applications.
///
/// Functions that return `const char*` return what is wrong, or nullptr if nothing is.
namespace corvane::propertylist {

inline tl::unexpected<Error> invalid(std::string description) {
  return failure("propertylist", 0, std::move(description));
}

/// What may still be read before the limits are reached.
class Budget {
 public:
  explicit Budget(const PropertyListLimits& limits)
      : m_depth(std::min(limits.maxDepth, MAX_PROPERTY_LIST_DEPTH)),
        m_values(limits.maxValues),
        m_bytes(limits.maxExpandedBytes) {}

  const char* takeValues(std::uint64_t count) { return take(m_values, count) ? nullptr : "too many values"; }
  const char* takeBytes(std::uint64_t count) {
    return take(m_bytes, count) ? nullptr : "too many bytes of text and data";
  }
  const char* enterDepth(std::size_t depth) const { return depth <= m_depth ? nullptr : "nested too deeply"; }

 private:
  static bool take(std::uint64_t& left, std::uint64_t count) {
    if (count > left) return false;
    left -= count;
    return true;
  }

  std::size_t m_depth;
  std::uint64_t m_values;
  std::uint64_t m_bytes;
};

/// Why a list of that format cannot hold a text; nullptr if it can.
const char* defectOf(std::string_view text, PropertyListFormat format);

inline bool isAscii(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Appends a code point, which must not be a surrogate, as UTF-8.
void appendCodePoint(std::string& text, char32_t point);

Result<Value> readXml(std::string_view bytes, const PropertyListLimits& limits);
Result<Value> readBinary(std::string_view bytes, const PropertyListLimits& limits);

// The value must be one that a list of the format can hold.
std::string writeXml(const Value& value);
std::string writeBinary(const Value& value);

}  // namespace corvane::propertylist
