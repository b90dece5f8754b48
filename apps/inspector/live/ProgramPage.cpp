#include "apps/inspector/live/ProgramPage.h"

#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ProgramText.h"

namespace corvane::inspector {

Frame ProgramPage::prompt(std::size_t columns) const {
  const std::string text = absenceOf(m_source.name(), m_source.presence());
  return text.empty() ? Frame() : Frame{{{clipped(printable(text, m_glyphs), columns), Style::HEADING}}};
}

std::string ProgramPage::titled(std::string_view title) const {
  const std::string name = printable(m_source.name(), m_glyphs);
  return std::string(title) + (name.empty() ? "" : " of " + name);
}

}  // namespace corvane::inspector
