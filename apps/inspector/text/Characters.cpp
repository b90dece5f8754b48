#include "apps/inspector/text/Characters.h"

#include <unicode/uchar.h>

#include "corvane/core/Text.h"

namespace corvane::inspector {

char32_t takeCharacter(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  const std::string_view bytes = text.substr(0, length);
  const bool valid = isUtf8(bytes);
  text.remove_prefix(valid ? length : 1);
  if (!valid) return NO_CHARACTER;
  char32_t character = length == 1 ? first : first & (0x7FU >> length);
  for (const char byte : bytes.substr(1)) character = character << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
  return character;
}

int columnsOf(char32_t character) {
  if (character == NO_CHARACTER) return -1;
  const auto c = static_cast<UChar32>(character);
  static constexpr UChar32 SOFT_HYPHEN = 0xAD, FIRST_VOWEL = 0x1160, LAST_CONSONANT = 0x11FF;  // of Hangul syllables
  if (c == SOFT_HYPHEN) return 1;
  if (c >= FIRST_VOWEL && c <= LAST_CONSONANT) return 0;
  switch (u_charType(c)) {
    case U_NON_SPACING_MARK:
    case U_ENCLOSING_MARK:
    case U_FORMAT_CHAR:
      return 0;
    case U_UNASSIGNED:
    case U_CONTROL_CHAR:
    case U_PRIVATE_USE_CHAR:
    case U_SURROGATE:
    case U_LINE_SEPARATOR:
    case U_PARAGRAPH_SEPARATOR:
      return -1;
    default:
      break;
  }
  const int width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

}  // namespace corvane::inspector
