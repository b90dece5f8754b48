#include "apps/inspector/svg/Svg.h"

#include "apps/inspector/text/Format.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

std::string svgText(std::string_view text) {
  static constexpr std::string_view REPLACEMENT = "\uFFFD";
  const std::string valid = repaired(std::string(text));
  std::string result;
  for (std::string_view rest = valid; !rest.empty(); rest.remove_prefix(1)) {
    const char c = rest.front();
    if (rest.starts_with("\uFFFE") || rest.starts_with("\uFFFF")) {
      result += REPLACEMENT;
      rest.remove_prefix(2);
    } else if ((c >= 0 && c < ' ') || c == '\x7F') {
      result += REPLACEMENT;
    } else if (c == '&') {
      result += "&amp;";
    } else if (c == '<') {
      result += "&lt;";
    } else if (c == '\'') {
      result += "&apos;";
    } else if (c == '"') {
      result += "&quot;";
    } else {
      result += c;
    }
  }
  return result;
}

std::string px(double value) {
  return decimal(value, 1);
}

}  // namespace corvane::inspector
