#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "apps/inspector/live/ProcessPage.h"
#include "apps/inspector/live/ViewSettings.h"
#include "apps/inspector/model/Monitor.h"
#include "apps/inspector/model/ProcessFeed.h"
#include "apps/inspector/terminal/Frame.h"
#include "apps/inspector/terminal/Glyphs.h"
#include "apps/inspector/text/TaskTable.h"

namespace corvane::inspector {

/// The live view: what it shows at any size of screen, and what the keys do. Knows no terminal.
class LiveView {
 public:
  /// What a key asks of the terminal.
  enum class Request { NONE, QUIT, SUSPEND, REDRAW };

  /// `changed` is called when there is something new to see before the next second.
  LiveView(Monitor& monitor, const Glyphs& glyphs, std::function<void()> changed = {});

  Request press(int pressed);

  /// What is worth remembering of the view, and the view as it was remembered.
  ViewSettings settings() const;
  void apply(const ViewSettings& settings);

  /// The view as it is now.
  Frame compose(std::size_t rows, std::size_t columns);

 private:
  enum class Page { OVERVIEW, PROCESSES, BROADCASTER, LOG, HELP };

  void show(Page page);
  void showProcesses();
  Frame overview(std::size_t rows, std::size_t columns) const;
  Frame log(std::size_t rows, std::size_t columns) const;
  Frame help(std::size_t columns) const;

  Line title(std::size_t columns) const;
  Line reading(std::size_t index, std::size_t columns) const;
  Line tableRow(const TaskRow& row, std::size_t columns) const;
  std::vector<std::size_t> readingsShown() const;

  Monitor& m_monitor;
  const Glyphs& m_glyphs;
  const std::string m_host;
  TaskTable m_table;
  ProcessPage m_processes;
  Page m_page = Page::OVERVIEW;
  std::string m_logPath;  // empty if the program keeps no log
  const std::function<void()> m_changed;
  std::optional<ProcessFeed> m_feed;  // while the processes are shown
};

}  // namespace corvane::inspector
