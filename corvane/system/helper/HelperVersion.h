#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "corvane/core/Text.h"
#include "corvane/platform/Value.h"

namespace corvane {

/// The version in a helper's information dictionary: "CFBundleVersion", which must be text that consists of decimal
/// digits and fits 63 bits. Otherwise the helper has none.
inline std::optional<std::int64_t> helperVersion(const Value& dictionary) {
  const Value* entry = dictionary.find("CFBundleVersion");
  const std::string* text = entry ? entry->asString() : nullptr;
  if (!text || !std::ranges::all_of(*text, [](char c) { return c >= '0' && c <= '9'; })) return std::nullopt;
  return numberIn<std::int64_t>(*text);
}

}  // namespace corvane
