#include "corvane/infra/settings/Conversions.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace corvane {

namespace {

std::string_view withoutLeading(std::string_view text, std::string_view characters) {
  const std::size_t first = text.find_first_not_of(characters);
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

// A text after removal of leading white space and a sign, if any.
struct Signed {
  bool isNegative = false;
  std::string_view rest;

  explicit Signed(std::string_view text) : rest(withoutLeading(text, " \t\n\v\f\r")) {
    isNegative = rest.starts_with('-');
    if (isNegative || rest.starts_with('+')) rest.remove_prefix(1);
  }
};

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::int64_t leadingInteger(const std::string& text) {
  const Signed number(text);
  const char* end = number.rest.data() + number.rest.size();
  std::uint64_t magnitude = 0;
  const bool tooLarge = std::from_chars(number.rest.data(), end, magnitude).ec == std::errc::result_out_of_range;
  constexpr auto MAX = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (tooLarge || magnitude > MAX)
    return number.isNegative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  return number.isNegative ? -static_cast<std::int64_t>(magnitude) : static_cast<std::int64_t>(magnitude);
}

double leadingReal(const std::string& text) {
  const Signed number(text);
  const std::string_view rest = number.rest;
  // Not the words for infinity.
  if (rest.empty() || !(isDigit(rest[0]) || (rest.size() > 1 && rest[0] == '.' && isDigit(rest[1])))) return 0;
  double magnitude = 0;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), magnitude);
  if (error == std::errc::result_out_of_range) {
    // The exponent's sign or, without one, a whole part of zeros shows which end of the range was passed.
    const std::string_view digits(rest.data(), static_cast<std::size_t>(end - rest.data()));
    const std::size_t exponent = digits.find_first_of("eE");
    const bool isSmall = exponent != std::string_view::npos ? digits.substr(exponent + 1).starts_with('-')
                                                            : withoutLeading(digits, "0").starts_with('.');
    magnitude = isSmall ? 0 : std::numeric_limits<double>::infinity();
  }
  return number.isNegative ? -magnitude : magnitude;
}

std::int64_t truncated(double number) {
  if (std::isnan(number)) return 0;
  if (number >= 0x1p63) return std::numeric_limits<std::int64_t>::max();
  if (number < -0x1p63) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(number);
}

bool meansTrue(const std::string& text) {
  const std::string_view rest = withoutLeading(Signed(text).rest, "0");
  return !rest.empty() && std::string_view("YyTt123456789").find(rest[0]) != std::string_view::npos;
}

}  // namespace

std::optional<std::string> stringFrom(const Value& value) {
  if (const auto* text = value.asString()) return *text;
  if (const auto* truth = value.asBool()) return *truth ? "1" : "0";
  std::array<char, 32> text;
  std::to_chars_result result{text.data(), {}};
  if (const auto* integer = value.asInteger())
    result = std::to_chars(text.data(), text.data() + text.size(), *integer);
  else if (const auto* real = value.asReal())
    result = std::to_chars(text.data(), text.data() + text.size(), std::isnan(*real) ? std::fabs(*real) : *real);
  else
    return std::nullopt;
  return std::string(text.data(), result.ptr);
}

std::int64_t integerFrom(const Value& value) {
  if (const auto* integer = value.asInteger()) return *integer;
  if (const auto* truth = value.asBool()) return *truth ? 1 : 0;
  if (const auto* real = value.asReal()) return truncated(*real);
  if (const auto* text = value.asString()) return leadingInteger(*text);
  return 0;
}

double realFrom(const Value& value) {
  if (const auto* real = value.asReal()) return *real;
  if (const auto* integer = value.asInteger()) return static_cast<double>(*integer);
  if (const auto* truth = value.asBool()) return *truth ? 1 : 0;
  if (const auto* text = value.asString()) return leadingReal(*text);
  return 0;
}

bool boolFrom(const Value& value) {
  if (const auto* truth = value.asBool()) return *truth;
  if (const auto* integer = value.asInteger()) return *integer != 0;
  if (const auto* real = value.asReal()) return *real != 0;
  if (const auto* text = value.asString()) return meansTrue(*text);
  return false;
}

std::optional<std::vector<std::string>> stringArrayFrom(const Value& value) {
  const auto* array = value.asArray();
  if (!array) return std::nullopt;
  std::vector<std::string> texts;
  for (const Value& element : *array) {
    const auto* text = element.asString();
    if (!text) return std::nullopt;
    texts.push_back(*text);
  }
  return texts;
}

}  // namespace corvane
