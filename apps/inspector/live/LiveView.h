#pragma once

#include <cstddef>
#include <functional>

#include "apps/inspector/live/BroadcasterPage.h"
#include "apps/inspector/live/DiskPage.h"
#include "apps/inspector/live/HelpPage.h"
#include "apps/inspector/live/LogPage.h"
#include "apps/inspector/live/OverviewPage.h"
#include "apps/inspector/live/PowerPage.h"
#include "apps/inspector/live/ProcessPage.h"
#include "apps/inspector/live/QueuePage.h"
#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/Frame.h"
#include "apps/inspector/text/Glyphs.h"
#include "apps/inspector/text/ViewSettings.h"

namespace corvane::inspector {

/// The live view: its pages, one of which is shown, and the keys that mean the same on all of them. Independent of the
/// terminal.
class LiveView {
 public:
  /// What a key asks of the terminal.
  enum class Request { NONE, QUIT, SUSPEND, REDRAW };

  /// `changed` is called when there is something new to see before the next second.
  LiveView(
      Source& source, const Glyphs& glyphs, std::function<void()> changed = [] {});

  Request press(int pressed);

  /// Returns the settings to remember between runs, and restores them. The time constant is only this program's.
  ViewSettings settings() const;
  void apply(const ViewSettings& settings);

  /// Draws the current view.
  Frame draw(std::size_t rows, std::size_t columns) { return compose(*m_shown, rows, columns); }

 private:
  bool isOfThisProgram() const { return m_source.name().empty(); }
  void show(Page& page);

  Source& m_source;
  int m_average = ViewSettings().average;  // what is remembered, whatever another program uses
  OverviewPage m_overview;
  ProcessPage m_processes;
  PowerPage m_power;
  DiskPage m_disks;
  QueuePage m_queues;
  BroadcasterPage m_broadcaster;
  LogPage m_log;
  HelpPage m_help;
  Page* m_shown = &m_overview;
};

}  // namespace corvane::inspector
