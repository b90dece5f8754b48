#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Value.h"

/// @file
/// How a stored value is converted when another kind of value is asked for. Plain functions; any thread.
///
/// | stored     | as text           | as integer               | as real            | as boolean       |
/// |------------|-------------------|--------------------------|--------------------|------------------|
/// | text       | itself            | its leading integer (1)  | its leading number | see (2)          |
/// | integer    | "-12"             | itself                   | the nearest        | not 0            |
/// | real       | "0.1", "1e+21"(3) | truncated, saturated (4) | itself             | not 0            |
/// | boolean    | "1" or "0"        | 1 or 0                   | 1 or 0             | itself           |
/// | data       | std::nullopt      | 0                        | 0                  | false            |
/// | date       | std::nullopt      | 0                        | 0                  | false            |
/// | array      | std::nullopt      | 0                        | 0                  | false            |
/// | dictionary | std::nullopt      | 0                        | 0                  | false            |
///
/// (1) Leading white space and a sign are allowed, and what follows the number is ignored: " -12.9 mm" is -12 as
///     integer and -12.9 as real, "1e3" is 1 and 1000, "0x10" is 0 and 0. A text that does not begin with a number,
///     including "inf", is 0. Numbers that are too large saturate: at the ends of 64 bits, and at ±infinity. The
///     decimal sign is '.' everywhere.
/// (2) Leading white space, one sign and zeros are ignored; then 1 to 9, 'Y', 'y', 'T' and 't' mean true, anything else
///     means false: "YES", "true", "1", "007" are true, "no", "0", "on", "" are false.
/// (3) The shortest text that reads back as the same number: "2" for 2.0, "inf", "-inf", "nan".
/// (4) Towards zero; a real that is not a number is 0.
///
/// Data, dates, arrays and dictionaries are never converted from other kinds. An array of texts is an array that
/// contains nothing else.
namespace corvane {

/// The value as one of this kind, by the table above.
CORVANE_API std::optional<std::string> stringFrom(const Value& value);
CORVANE_API std::int64_t integerFrom(const Value& value);
CORVANE_API double realFrom(const Value& value);
CORVANE_API bool boolFrom(const Value& value);
CORVANE_API std::optional<std::vector<std::string>> stringArrayFrom(const Value& value);

}  // namespace corvane
