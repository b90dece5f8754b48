#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/platform/Value.h"

/// Conversions between plain values and the text of elements in an XML property list.
///
/// The functions that read return what is wrong, or nullptr if the value was read. White space around it is ignored.
namespace corvane::propertylist {

/// XML's white space.
inline bool isSpace(char c) {
  return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

const char* readInteger(std::string_view text, Value& value);
const char* readReal(std::string_view text, Value& value);
const char* readDate(std::string_view text, Value& value);
const char* readData(std::string_view text, Value& value);

std::string realText(double real);
/// Why an XML list cannot hold the date; nullptr if it can.
const char* defectOf(Date date);
std::string dateText(Date date);
std::string base64(const std::vector<std::uint8_t>& bytes);

}  // namespace corvane::propertylist
