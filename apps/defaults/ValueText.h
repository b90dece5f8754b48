#pragma once

#include <string>
#include <string_view>

#include "corvane/platform/Value.h"

namespace corvane::defaults {

/// A value for people: a plain value alone, as one line without quotation marks; an array or a dictionary in lines,
/// with the texts in it quoted. Booleans are "true" and "false", data "<00ff>", dates "2026-03-07T09:05:01Z".
std::string textOf(const Value& value);

/// "key = value" with the value as it stands within a dictionary.
std::string entryText(const std::string& key, const Value& value);

}  // namespace corvane::defaults
