#pragma once

#include <memory>

#include "apps/inspector/window/OverviewGraphs.h"
#include "corvane/core/Repeater.h"
#include "corvane/ui/Desktop.h"

namespace corvane::inspector {

/// Keeps the graphs on the desktop, as its picture, until this dies.
class DesktopGraphs {
 public:
  explicit DesktopGraphs(Machine& machine);
  ~DesktopGraphs();
  DesktopGraphs(const DesktopGraphs&) = delete;
  DesktopGraphs& operator=(const DesktopGraphs&) = delete;

  /// How many minutes they show.
  void setSpan(int minutes);

 private:
  void draw();

  Desktop m_desktop;
  OverviewGraphs m_graphs;  // never shown
  const std::shared_ptr<Repeater> m_clock;
};

}  // namespace corvane::inspector
