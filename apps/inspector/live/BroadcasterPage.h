#pragma once

#include "apps/inspector/live/ProgramPage.h"
#include "apps/inspector/live/Scroll.h"
#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The page about the broadcaster, listener by listener, and the figures of the log.
class BroadcasterPage : public ProgramPage {
 public:
  BroadcasterPage(Source& source, const Glyphs& glyphs);

  void open() override { m_scroll.reset(); }
  bool press(int pressed) override { return m_scroll.press(pressed); }
  Line title(std::size_t columns) const override;
  Frame draw(std::size_t rows, std::size_t columns) override;

 private:
  Scroll m_scroll{Scroll::Start::BEGINNING};
};

/// The lines for these figures.
Frame broadcasterLines(const std::vector<broadcaster_stats>& listeners, const LogFigures& log, std::size_t columns,
                       const Glyphs& glyphs);

}  // namespace corvane::inspector
