#include "apps/defaults/ValueArguments.h"

#include <algorithm>
#include <charconv>

#include "corvane/core/Text.h"
#include "corvane/infra/values/PropertyList.h"

namespace corvane::defaults {

namespace {

using Parsed = tl::expected<Value, std::string>;

tl::unexpected<std::string> wrong(std::string_view text, std::string_view why) {
  return tl::unexpected(std::string(text).append(": ").append(why));
}

Parsed textValue(std::string_view text) {
  return Value(text);
}

Parsed integerValue(std::string_view text) {
  const auto number = numberIn<std::int64_t>(text);
  return number ? Parsed(*number) : wrong(text, "not a 64-bit integer");
}

Parsed realValue(std::string_view text) {
  const auto number = numberIn<double>(text);
  return number ? Parsed(*number) : wrong(text, "not a number");
}

Parsed boolValue(std::string_view text) {
  const std::string word = caseFolded(text);
  for (const char* yes : {"true", "yes", "1"})
    if (word == yes) return Value(true);
  for (const char* no : {"false", "no", "0"})
    if (word == no) return Value(false);
  return wrong(text, "not a boolean (true, yes, 1, false, no or 0)");
}

Parsed dateValue(std::string_view text) {
  const auto date = readPropertyList("<plist><date>" + std::string(text) + "</date></plist>");
  return date ? Parsed(*date) : wrong(text, "not a time in UTC such as 2026-03-07T09:05:01Z");
}

Parsed dataValue(std::string_view text) {
  Data data;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const std::string_view pair = text.substr(i, 2);
    std::uint8_t byte = 0;
    const auto result = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
    if (pair.size() != 2 || result.ec != std::errc() || result.ptr != pair.data() + 2)
      return wrong(text, "not pairs of hexadecimal digits");
    data.bytes.push_back(byte);
  }
  return Value(std::move(data));
}

Parsed listValue(std::string_view text) {
  return readPropertyList(text).map_error(
      [](const Error& error) { return "not a property list: " + error.description; });
}

constexpr struct {
  std::string_view option;
  Parsed (*parse)(std::string_view text);
} PLAIN[] = {{"-string", textValue}, {"-int", integerValue}, {"-float", realValue}, {"-bool", boolValue},
             {"-date", dateValue},   {"-data", dataValue},   {"-plist", listValue}, {"--", textValue}};

bool looksLikeOption(std::string_view text) {
  return text == "--" || (text.size() > 1 && text[0] == '-' && text[1] >= 'a' && text[1] <= 'z');
}

// Takes one plain value from the front, with its type option if it has one.
Parsed takePlain(const Arguments& arguments, std::size_t& at) {
  const std::string_view first = arguments[at++];
  if (!looksLikeOption(first)) return textValue(first);
  const auto* kind = std::ranges::find(PLAIN, first, [](const auto& row) { return row.option; });
  if (kind == std::end(PLAIN)) return wrong(first, "unknown type (use -string for a text that looks like one)");
  if (at == arguments.size()) return wrong(first, "the value is missing");
  return kind->parse(arguments[at++]);
}

}  // namespace

tl::expected<Value, std::string> valueOf(const Arguments& arguments) {
  if (arguments.empty()) return tl::unexpected<std::string>("the value is missing");
  std::size_t at = 1;
  if (arguments[0] == "-array") {
    Value::Array array;
    while (at < arguments.size()) {
      auto element = takePlain(arguments, at);
      if (!element) return element;
      array.push_back(std::move(*element));
    }
    return Value(std::move(array));
  }
  if (arguments[0] == "-dict") {
    Value::Dictionary dictionary;
    while (at < arguments.size()) {
      const std::string key(arguments[at++]);
      if (at == arguments.size()) return wrong(key, "the value of this key is missing");
      auto element = takePlain(arguments, at);
      if (!element) return element;
      if (!dictionary.emplace(key, std::move(*element)).second) return wrong(key, "the key is given twice");
    }
    return Value(std::move(dictionary));
  }
  at = 0;
  auto value = takePlain(arguments, at);
  if (value && at < arguments.size()) return wrong(arguments[at], "one value too many (-array takes several)");
  return value;
}

}  // namespace corvane::defaults
