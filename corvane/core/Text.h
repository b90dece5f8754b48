#pragma once

#include <string>
#include <string_view>

#include "corvane/platform/Export.h"

namespace corvane {

/// A UTF-8 text without the white space and line breaks at both ends. White space is what Unicode calls so (property
/// White_Space). The result refers to the argument's characters.
CORVANE_API std::string_view trimmed(std::string_view text);

/// True if the bytes are well-formed UTF-8.
CORVANE_API bool isUtf8(std::string_view text);

/// The text as valid UTF-8. Each maximal part of the bytes that is not UTF-8 becomes one U+FFFD (the practice that
/// Unicode recommends): a byte that starts no character, or the bytes of a character that breaks off too early; each
/// byte of an overlong form or of a surrogate.
CORVANE_API std::string repaired(std::string text);

}  // namespace corvane
