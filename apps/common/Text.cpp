#include "apps/common/Text.h"

#include <unicode/unistr.h>

namespace corvane {

std::string caseFolded(std::string_view text) {
  std::string folded;
  icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())}).foldCase().toUTF8String(folded);
  return folded;
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
  return caseFolded(text).find(caseFolded(part)) != std::string::npos;
}

}  // namespace corvane
