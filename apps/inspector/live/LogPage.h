#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "apps/inspector/live/ProgramPage.h"
#include "apps/inspector/live/Scroll.h"
#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The page with the program's log, shown from its end.
class LogPage : public ProgramPage {
 public:
  /// `changed` is called when lines have come.
  LogPage(Source& source, const Glyphs& glyphs, std::function<void()> changed);

  void open() override;
  void close() override;
  bool press(int pressed) override { return m_scroll.press(pressed); }
  Line title(std::size_t columns) const override;
  Frame draw(std::size_t rows, std::size_t columns) override;

 private:
  void take(Result<LogState> state);

  const std::function<void()> m_changed;
  std::shared_ptr<void> m_feed;       // while the page is shown
  std::optional<std::string> m_path;  // printable; empty if the program keeps no log; std::nullopt until it is known
  std::string m_text;                 // the end of the log
  std::string m_failure;              // why nothing more came
  Scroll m_scroll{Scroll::Start::END};
};

}  // namespace corvane::inspector
