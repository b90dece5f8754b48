#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "apps/inspector/live/ProgramPage.h"
#include "apps/inspector/live/Scroll.h"
#include "corvane/core/Timeval.h"

namespace corvane::inspector {

/// The page of the program's queues: what waits, what runs, and what took longest. It asks only while it is shown.
class QueuePage : public ProgramPage {
 public:
  /// `changed` is called when there is something new.
  QueuePage(Source& source, const Glyphs& glyphs, std::function<void()> changed);

  void open() override;
  void close() override;
  bool press(int pressed) override { return m_scroll.press(pressed); }
  Line title(std::size_t columns) const override;
  Frame draw(std::size_t rows, std::size_t columns) override;

 private:
  const std::function<void()> m_changed;
  std::shared_ptr<void> m_feed;         // while the page is shown
  std::optional<QueueStates> m_queues;  // as they were last
  Timeval m_time;                       // when that was
  std::string m_note;                   // shown if there are none
  Scroll m_scroll{Scroll::Start::BEGINNING};
};

/// The lines for queues that were so at this time.
Frame queueLines(const QueueStates& queues, Timeval time, std::size_t columns, const Glyphs& glyphs);

}  // namespace corvane::inspector
