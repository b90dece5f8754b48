#include "corvane/ui/AppearanceWatcher.h"

#include <QApplication>
#include <QEvent>
#include <QPalette>
#include <QPointer>
#include <QStyle>
#include <utility>

#include "corvane/platform/Platform.h"
#include "corvane/ui/Appearance.h"
#include "corvane/ui/MainThread.h"

namespace corvane {

namespace {

bool isDarkPalette(const QPalette& palette) {
  return palette.color(QPalette::WindowText).lightness() > palette.color(QPalette::Window).lightness();
}

}  // namespace

AppearanceWatcher& AppearanceWatcher::shared() {
  requireMainThread("Appearance");
  static QPointer<AppearanceWatcher> watcher;
  if (!watcher) watcher = new AppearanceWatcher;
  return *watcher;
}

AppearanceWatcher::AppearanceWatcher() : QObject(qApp) {
  m_wasDark = isDark();
  // The toolkit has no other way to hear of palettes that takes in those that programs set.
  qApp->installEventFilter(this);
  m_watch = platform().appearance().watch([this](DesktopAppearance desktop) {
    m_desktop = desktop;
    if (m_follows) applyPalette();
    tell();
  });
}

bool AppearanceWatcher::isDark() const {
  return m_desktop.scheme == ColorScheme::UNKNOWN ? isDarkPalette(QApplication::palette())
                                                  : m_desktop.scheme == ColorScheme::DARK;
}

bool AppearanceWatcher::eventFilter(QObject* object, QEvent* event) {
  if (event->type() == QEvent::ApplicationPaletteChange && object == qApp) tell();
  return false;
}

void AppearanceWatcher::follow() {
  // A palette that is not the style's comes from the desktop's theme or from the program.
  if (m_follows || QApplication::palette() != QApplication::style()->standardPalette()) return;
  m_follows = true;
  applyPalette();
}

void AppearanceWatcher::applyPalette() {
  const bool isStandard =
      m_desktop.scheme == ColorScheme::UNKNOWN ||
      (m_desktop.scheme == ColorScheme::DARK) == isDarkPalette(QApplication::style()->standardPalette());
  QApplication::setPalette(isStandard && !m_desktop.highContrast ? QPalette() : paletteFor(m_desktop));
}

void AppearanceWatcher::tell() {
  const bool wasDark = std::exchange(m_wasDark, isDark());
  const bool hadHighContrast = std::exchange(m_hadHighContrast, m_desktop.highContrast);
  if (wasDark != m_wasDark || hadHighContrast != m_hadHighContrast) Q_EMIT changed();
}

}  // namespace corvane
