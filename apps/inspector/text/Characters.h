#pragma once

#include <string_view>

namespace corvane::inspector {

inline constexpr char32_t NO_CHARACTER = 0xFFFF'FFFF;

/// Removes and returns the first character of a text that is not empty. If the text does not begin with a character,
/// removes one byte and returns NO_CHARACTER.
char32_t takeCharacter(std::string_view& text);

/// The number of terminal columns of a character: 1, 2 for wide (East Asian) ones, 0 for combining ones, -1 for
/// unprintable ones.
int columnsOf(char32_t character);

}  // namespace corvane::inspector
