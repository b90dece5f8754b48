#pragma once

#include <QObject>
#include <memory>

#include "corvane/platform/Appearance.h"

namespace corvane {

/// Hears of the appearance from the desktop and, as long as that says nothing, from the toolkit's palette; and gives
/// the application a palette if it is to follow the desktop. Belongs to the application object. Main thread.
class AppearanceWatcher : public QObject {
  Q_OBJECT

 public:
  /// Created on first use. Fatal before there is a QApplication.
  static AppearanceWatcher& shared();

  bool isDark() const;
  bool reducesMotion() const { return m_desktop.reducedMotion; }
  void follow();

 Q_SIGNALS:
  /// Once for each change of isDark() or of the contrast, when the application already has its palette.
  void changed();

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  AppearanceWatcher();
  void applyPalette();
  void tell();

  DesktopAppearance m_desktop;
  bool m_wasDark = false;
  bool m_hadHighContrast = false;
  bool m_follows = false;
  std::shared_ptr<void> m_watch;
};

}  // namespace corvane
