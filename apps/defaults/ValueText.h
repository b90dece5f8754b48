#pragma once

#include <string>
#include <string_view>

#include "corvane/platform/Value.h"

namespace corvane::defaults {

/// A value in human-readable form: a plain value as one line without quotation marks; an array or a dictionary as
/// several lines, with its texts quoted. Booleans are "true" and "false", data "<00ff>", dates "2026-03-07T09:05:01Z".
std::string textOf(const Value& value);

/// "key = value", with the value as shown within a dictionary.
std::string entryText(const std::string& key, const Value& value);

}  // namespace corvane::defaults
