#include "apps/inspector/window/DesktopGraphs.h"

#include <QGuiApplication>
#include <QLayout>
#include <QScreen>

namespace corvane::inspector {

namespace {

constexpr double INTERVAL = 10;     // seconds
constexpr double FONT_SCALE = 1.4;  // it is read from farther away than a window

}  // namespace

DesktopGraphs::DesktopGraphs(Machine& machine)
    : m_graphs(machine), m_clock(std::make_shared<Repeater>("desktop picture")) {
  QFont font = m_graphs.font();
  font.setPointSizeF(font.pointSizeF() * FONT_SCALE);
  m_graphs.setFont(font);
  constexpr int MARGIN = OverviewGraphs::MARGIN;
  m_graphs.layout()->setContentsMargins(MARGIN, MARGIN, MARGIN, MARGIN);
  if (const QScreen* const screen = QGuiApplication::primaryScreen()) m_graphs.resize(screen->availableSize());
  m_clock->start(INTERVAL, [this] { draw(); });
}

DesktopGraphs::~DesktopGraphs() {
  m_clock->stop();
}

void DesktopGraphs::setSpan(int minutes) {
  m_graphs.setSpan(minutes);
  draw();
}

void DesktopGraphs::draw() {
  m_graphs.refresh();
  m_desktop.setFill(Desktop::FillStyle::SCREEN_FILL, QGuiApplication::palette().color(QPalette::Window));
  m_desktop.useViews({&m_graphs});
}

}  // namespace corvane::inspector
