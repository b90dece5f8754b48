#include "corvane/infra/values/XmlText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

#include "corvane/core/Text.h"

namespace corvane::propertylist {

namespace {

using namespace std::string_view_literals;

using Days = std::chrono::sys_days;
using Seconds = std::chrono::sys_seconds;
constexpr Days DAY_ZERO = std::chrono::year(2001) / 1 / 1;
constexpr double SECONDS_PER_DAY = 86400;
constexpr double FIRST_SECOND = (Days(std::chrono::year(0) / 1 / 1) - DAY_ZERO).count() * SECONDS_PER_DAY;
constexpr double END_OF_SECONDS = (Days(std::chrono::year(10000) / 1 / 1) - DAY_ZERO).count() * SECONDS_PER_DAY;

constexpr auto BASE64_DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"sv;
constexpr std::int8_t NO_DIGIT = -1;

constexpr std::array<std::int8_t, 256> BASE64_VALUES = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(NO_DIGIT);
  for (std::size_t i = 0; i < BASE64_DIGITS.size(); ++i)
    values[static_cast<unsigned char>(BASE64_DIGITS[i])] = static_cast<std::int8_t>(i);
  return values;
}();

/// Removes a leading sign from `text`; true if it was a minus.
bool takeMinus(std::string_view& text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  return negative;
}

}  // namespace

const char* readInteger(std::string_view text, Value& value) {
  text = trimmed(text);
  const bool negative = takeMinus(text);
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);

  std::uint64_t magnitude = 0;
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, magnitude, hexadecimal ? 16 : 10);
  if (problem == std::errc::invalid_argument || stop != end) return "<integer> is not a whole number";
  const std::uint64_t most = std::uint64_t{std::numeric_limits<std::int64_t>::max()} + (negative ? 1 : 0);
  if (problem != std::errc() || magnitude > most) return "<integer> does not fit 64 bits with sign";
  value = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
  return nullptr;
}

const char* readReal(std::string_view text, Value& value) {
  text = trimmed(text);
  const bool negative = takeMinus(text);
  double magnitude = 0;
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, magnitude);
  if (problem == std::errc::result_out_of_range) return "<real> is beyond the range of a double";
  // from_chars() would also accept a second sign, and "nan(text)".
  if (problem != std::errc() || stop != end || text.starts_with('-') || text.ends_with(')'))
    return "<real> is not a number";
  value = negative ? -magnitude : magnitude;
  return nullptr;
}

const char* readDate(std::string_view text, Value& value) {
  constexpr auto SHAPE = "0000-00-00T00:00:00Z"sv;
  text = trimmed(text);
  const auto matches = [](char actual, char expected) {
    return expected == '0' ? actual >= '0' && actual <= '9' : actual == expected;
  };
  if (!std::equal(text.begin(), text.end(), SHAPE.begin(), SHAPE.end(), matches))
    return "<date> is not of the form YYYY-MM-DDThh:mm:ssZ";

  const auto number = [text](std::size_t from, std::size_t length) {
    int result = 0;
    for (const char digit : text.substr(from, length)) result = result * 10 + (digit - '0');
    return result;
  };
  const std::chrono::year_month_day day(std::chrono::year(number(0, 4)),
                                        std::chrono::month(static_cast<unsigned>(number(5, 2))),
                                        std::chrono::day(static_cast<unsigned>(number(8, 2))));
  const int hour = number(11, 2);
  const int minute = number(14, 2);
  const int second = number(17, 2);
  if (!day.ok() || hour > 23 || minute > 59 || second > 59) return "<date> is not in the calendar";
  value =
      Date{static_cast<double>((Days(day) - DAY_ZERO).count()) * SECONDS_PER_DAY + hour * 3600 + minute * 60 + second};
  return nullptr;
}

const char* readData(std::string_view text, Value& value) {
  constexpr auto PROBLEM = "<data> is not Base64";
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  const auto append = [&bytes](std::uint32_t byte) { bytes.push_back(static_cast<std::uint8_t>(byte & 0xFF)); };
  std::uint32_t bits = 0;
  unsigned digits = 0;  // of an incomplete group of four
  unsigned padding = 0;
  for (const char c : text) {
    if (isSpace(c)) continue;
    if (c == '=') {
      ++padding;
      continue;
    }
    const std::int8_t digit = BASE64_VALUES[static_cast<unsigned char>(c)];
    if (digit == NO_DIGIT || padding > 0) return PROBLEM;
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    if (++digits < 4) continue;
    for (const int shift : {16, 8, 0}) append(bits >> shift);
    digits = 0;
  }
  // In the last group, the bits beyond the last whole byte are zero.
  if (digits == 1 || padding != (4 - digits) % 4) return PROBLEM;
  if ((digits == 2 && (bits & 0xF) != 0) || (digits == 3 && (bits & 3) != 0)) return PROBLEM;
  if (digits == 3) append(bits >> 10);
  if (digits >= 2) append(digits == 2 ? bits >> 4 : bits >> 2);
  value = Data{std::move(bytes)};
  return nullptr;
}

std::string realText(double real) {
  if (std::isnan(real)) return "nan";
  if (std::isinf(real)) return real < 0 ? "-infinity" : "+infinity";
  std::array<char, 32> digits;  // the longest double takes 24
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), real).ptr};
}

const char* defectOf(Date date) {
  const bool inYears = date.seconds >= FIRST_SECOND && date.seconds < END_OF_SECONDS;
  return inYears ? nullptr : "a date outside the years 0000 to 9999";
}

std::string dateText(Date date) {
  const Seconds moment = DAY_ZERO + std::chrono::seconds(static_cast<std::int64_t>(std::floor(date.seconds)));
  const Days midnight = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day day(midnight);
  const std::chrono::hh_mm_ss time(moment - midnight);
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(day.year()),
                static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
  return text.data();
}

std::string base64(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t size = std::min(bytes.size() - i, std::size_t{3});
    std::uint32_t bits = 0;
    for (std::size_t j = 0; j < 3; ++j) bits = bits << 8 | (j < size ? bytes[i + j] : 0U);
    for (std::size_t j = 0; j < 4; ++j) text += j <= size ? BASE64_DIGITS[bits >> (18 - 6 * j) & 63] : '=';
  }
  return text;
}

}  // namespace corvane::propertylist
