#pragma once

#include <string_view>

namespace corvane::inspector {

inline constexpr char32_t NO_CHARACTER = 0xFFFF'FFFF;

/// Takes the first character off a text that is not empty, or the first byte and gives NO_CHARACTER if the text does
/// not begin with one.
char32_t takeCharacter(std::string_view& text);

/// Columns of a terminal that a character takes: 1, 2 for the wide ones of East Asia, 0 for those that combine with
/// another one, -1 for what is not printable.
int columnsOf(char32_t character);

}  // namespace corvane::inspector
