#pragma once

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QScreen>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "corvane/platform/Export.h"

namespace corvane {

/// A screen of the desktop, with a name that people know it by and that tells it from others tomorrow, too. A handle to
/// a QScreen: copy it freely. Main thread.
///
///     for (const Screen& screen : Screen::screens()) std::puts(screen.displayNameNumber().c_str());  // U2415
///     808531789
///
/// Nothing is cached. Once the screen has been unplugged the handle is empty: numbers are 0, rectangles are empty, and
/// the name is "Unknown".
///
/// **Where names and serial numbers come from.** From what the display says about itself: on X11 from the X server; on
/// Wayland, which passes on the model at most, from the device registry (see IOObject), where the connector has the
/// screen's name. So they are the same on both, and in the registry, as long as the compositor uses the kernel's names
/// of connectors; where it does not, a screen on Wayland has the serial number 0.
class CORVANE_API Screen {
 public:
  /// The desktop's screens, in its order: the primary one is the first.
  static std::vector<Screen> screens();

  /// An empty handle.
  Screen() = default;
  /// The handle of a screen, for example of QWidget::screen(); empty for null.
  explicit Screen(QScreen* screen) : m_screen(screen) {}

  /// The toolkit's object; null if the handle is empty.
  QScreen* qScreen() const { return m_screen; }
  bool isEmpty() const { return m_screen.isNull(); }  ///< whether there is no screen

  /// A number of the screen that no other one gets while this process runs; 1 and above, or 0 if the handle is empty.
  std::uint32_t screenNumber() const;

  /// The serial number as a number; 0 if the display has none.
  std::uint32_t screenSerialNumber() const;

  /// The display's own name, "U2415". If it has none, as most built-in panels: its manufacturer and its connector,
  /// "BOE eDP-1". If the manufacturer is unknown: "Unknown".
  std::string getDisplayName() const;

  /// getDisplayName(), a blank, and screenSerialNumber() in decimal: to find the screen again another day.
  std::string displayNameNumber() const;

  /// Where the screen lies on the desktop, in points: x to the right and y downwards, as in QWidget::geometry().
  QRect frame() const;

  /// The part of it that panels leave free, in points. On X11 with several monitors this is what QScreen does not know;
  /// it comes from what the panels' windows reserve (_NET_WM_STRUT_PARTIAL). On Wayland, which tells no program where
  /// panels are, it is the same as frame() unless the toolkit knows better.
  QRect visibleFrame() const;

  /// How many pixels there are to a point; 1 or more on most screens.
  double scale() const;

  bool operator==(const Screen& other) const { return m_screen == other.m_screen; }  ///< whether it is the same screen

 private:
  QPointer<QScreen> m_screen;
};

/// Tells of changes to the screens: one comes or goes, another one becomes the primary one, a frame, a visible frame or
/// a scale changes. Main thread.
class CORVANE_API ScreenWatcher : public QObject {
  Q_OBJECT

 public:
  explicit ScreenWatcher(QObject* parent = nullptr);  ///< sends signals from now on
  ~ScreenWatcher() override;

 Q_SIGNALS:
  /// Sent once for what changes together, from the event loop.
  void changed();

 private:
  void watch(QScreen* screen);
  void note();

  std::shared_ptr<void> m_panels;
  bool m_isNoted = false;
};

}  // namespace corvane
