#include "apps/defaults/ValueText.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "corvane/infra/settings/Conversions.h"

namespace corvane::defaults {

namespace {

std::string hexOf(unsigned number) {
  std::array<char, 3> digits;
  std::snprintf(digits.data(), digits.size(), "%02x", number & 0xff);
  return digits.data();
}

std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    if (c == '\n')
      result += "\\n";
    else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
      result += "\\x" + hexOf(static_cast<unsigned char>(c));
    else
      result += c;
  }
  return result + '"';
}

std::string dateText(const Date& date) {
  const double seconds = std::floor(date.unixSeconds());
  std::array<char, 40> text{};
  std::tm utc{};
  const bool isInCalendar = std::fabs(seconds) < 1e12;
  const auto time = static_cast<std::time_t>(isInCalendar ? seconds : 0);
  if (!isInCalendar || !gmtime_r(&time, &utc)) return *stringFrom(date.seconds) + " s after 2001";
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text.data();
}

std::string plainText(const Value& value) {
  if (const bool* truth = value.asBool()) return *truth ? "true" : "false";
  if (const Date* date = value.asDate()) return dateText(*date);
  if (const Data* data = value.asData()) {
    std::string text = "<";
    for (const std::uint8_t byte : data->bytes) text += hexOf(byte);
    return text + '>';
  }
  return stringFrom(value).value_or("");
}

std::string keyText(const std::string& key) {
  const bool isPlain = !key.empty() && std::ranges::all_of(key, [](unsigned char c) {
    return std::isalnum(c) != 0 || c >= 0x80 || std::string_view("_-.").find(static_cast<char>(c)) != std::string::npos;
  });
  return isPlain ? key : quoted(key);
}

std::string nestedText(const Value& value, const std::string& indent) {
  const std::string deeper = indent + "    ";
  std::string text;
  if (const auto* array = value.asArray()) {
    for (const Value& element : *array) text += deeper + nestedText(element, deeper) + '\n';
    return text.empty() ? "()" : "(\n" + text + indent + ')';
  }
  if (const auto* dictionary = value.asDictionary()) {
    for (const auto& [key, element] : *dictionary)
      text += deeper + keyText(key) + " = " + nestedText(element, deeper) + '\n';
    return text.empty() ? "{}" : "{\n" + text + indent + '}';
  }
  const std::string* string = value.asString();
  return string ? quoted(*string) : plainText(value);
}

}  // namespace

std::string textOf(const Value& value) {
  return value.isArray() || value.isDictionary() ? nestedText(value, "") : plainText(value);
}

std::string entryText(const std::string& key, const Value& value) {
  return keyText(key) + " = " + nestedText(value, "");
}

}  // namespace corvane::defaults
