#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "corvane/infra/values/PropertyList.h"

namespace {

using corvane::PropertyListFormat;
using corvane::Value;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

/// The value as XML can hold it: without fractions of seconds.
Value withWholeSeconds(const Value& value) {
  if (const corvane::Date* date = value.asDate()) return corvane::Date{std::floor(date->seconds)};
  if (const Value::Array* array = value.asArray()) {
    Value::Array result;
    for (const Value& entry : *array) result.push_back(withWholeSeconds(entry));
    return result;
  }
  if (const Value::Dictionary* dictionary = value.asDictionary()) {
    Value::Dictionary result;
    for (const auto& [key, entry] : *dictionary) result.emplace(key, withWholeSeconds(entry));
    return result;
  }
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  // Small enough that what is read can be written and read back within the usual limits.
  constexpr corvane::PropertyListLimits LIMITS = {.maxValues = 10000, .maxExpandedBytes = 1 << 20};
  const auto value = readPropertyList({reinterpret_cast<const char*>(bytes), size}, LIMITS);
  if (!value) return 0;

  const auto binary = writePropertyList(*value, PropertyListFormat::BINARY);
  require(binary.has_value(), "what was read is not written as binary");
  require(corvane::readPropertyList(*binary) == *value, "binary does not give the value back");

  // A binary list may hold texts and dates that XML cannot, an XML list may not.
  const bool xmlOnly = size < 8 || bytes[0] != 'b';
  const auto xml = writePropertyList(*value, PropertyListFormat::XML);
  require(xml.has_value() || !xmlOnly, "what was read from XML is not written as XML");
  require(!xml || corvane::readPropertyList(*xml) == withWholeSeconds(*value), "XML does not give the value back");
  return 0;
}
