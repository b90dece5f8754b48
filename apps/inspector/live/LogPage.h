#pragma once

#include "apps/inspector/live/Page.h"
#include "apps/inspector/live/Scroll.h"
#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The page with the program's log, shown from its end.
class LogPage : public Page {
 public:
  LogPage(const Source& source, const Glyphs& glyphs);

  void open() override;
  bool press(int pressed) override { return m_scroll.press(pressed); }
  Line title(std::size_t columns) const override;
  Frame draw(std::size_t rows, std::size_t columns) override;

 private:
  const Source& m_source;
  const Glyphs& m_glyphs;
  std::string m_path;  // printable; empty if the program keeps no log
  Scroll m_scroll{Scroll::Start::END};
};

}  // namespace corvane::inspector
