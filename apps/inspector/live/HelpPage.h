#pragma once

#include <vector>

#include "apps/inspector/live/Page.h"
#include "apps/inspector/live/Scroll.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The page that explains the keys: those of all pages, and those of each.
class HelpPage : public Page {
 public:
  HelpPage(std::vector<const Page*> pages, const Glyphs& glyphs);

  void open() override { m_scroll.reset(); }
  bool press(int pressed) override { return m_scroll.press(pressed); }
  Line title(std::size_t columns) const override;
  Frame draw(std::size_t rows, std::size_t columns) override;

 private:
  const std::vector<const Page*> m_pages;
  const Glyphs& m_glyphs;
  Scroll m_scroll{Scroll::Start::BEGINNING};
};

}  // namespace corvane::inspector
