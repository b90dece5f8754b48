#include "apps/inspector/live/LiveView.h"

#include <utility>

#include "apps/inspector/terminal/Keys.h"

namespace corvane::inspector {

LiveView::LiveView(Source& source, const Glyphs& glyphs, std::function<void()> changed)
    : m_source(source),
      m_overview(source, glyphs),
      m_processes(source.machine(), glyphs, changed),
      m_power(source.machine(), glyphs, changed),
      m_disks(source.machine(), glyphs, changed),
      m_queues(source, glyphs, changed),
      m_broadcaster(source, glyphs),
      m_log(source, glyphs, std::move(changed)),
      m_help({&m_overview, &m_processes, &m_power, &m_disks, &m_queues, &m_broadcaster, &m_log}, glyphs) {}

ViewSettings LiveView::settings() const {
  return {isOfThisProgram() ? m_source.repeaters().timeConstant() : m_average,
          {m_overview.table().column(), m_overview.table().descending()},
          {m_processes.column(), m_processes.descending()}};
}

void LiveView::apply(const ViewSettings& settings) {
  m_average = settings.average;
  if (isOfThisProgram()) m_source.repeaters().setTimeConstant(settings.average);
  m_overview.table().sortBy(settings.repeaters.column, settings.repeaters.descending);
  m_processes.sortBy(settings.processes.column, settings.processes.descending);
}

// The key of the current page leads back.
void LiveView::show(Page& page) {
  Page* const next = &page == m_shown ? &m_overview : &page;
  m_shown->close();
  m_shown = next;
  m_shown->open();
}

LiveView::Request LiveView::press(int pressed) {
  if (m_shown->press(pressed)) return Request::NONE;
  switch (pressed) {
    case 'q':
      return Request::QUIT;
    case key::CONTROL_Z:
      return Request::SUSPEND;
    case key::CONTROL_L:
      return Request::REDRAW;
    case 'p':
      show(m_processes);
      break;
    case 'w':
      show(m_power);
      break;
    case 'v':
      show(m_disks);
      break;
    case 'u':
      show(m_queues);
      break;
    case 'b':
      show(m_broadcaster);
      break;
    case 'l':
      show(m_log);
      break;
    case 'h':
    case '?':
      show(m_help);
      break;
    case key::ESCAPE:
      show(m_overview);
      break;
    default:
      break;
  }
  return Request::NONE;
}

}  // namespace corvane::inspector
