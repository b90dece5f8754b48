#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/platform/Value.h"

/// Plain values as the text of an XML property list's elements.
///
/// The functions that read return what is wrong, or nullptr when the value is read. White space around it is passed
/// over.
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
/// What keeps the date out of XML lists.
const char* defectOf(Date date);
std::string dateText(Date date);
std::string base64(const std::vector<std::uint8_t>& bytes);

}  // namespace corvane::propertylist
