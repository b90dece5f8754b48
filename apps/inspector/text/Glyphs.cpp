#include "apps/inspector/text/Glyphs.h"

#include <langinfo.h>

namespace corvane::inspector {

const Glyphs Glyphs::UNICODE = {
    {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"}, "µ", "°", "▲", "▼", "─", "│", "├", "└", false};
const Glyphs Glyphs::ASCII = {{"_", ".", "-", ":", "=", "+", "*", "#"}, "u", "", "^", "v", "-", "|", "|", "`", true};

const Glyphs& Glyphs::ofLocale() {
  return std::string_view(nl_langinfo(CODESET)) == "UTF-8" ? UNICODE : ASCII;
}

}  // namespace corvane::inspector
