#pragma once

#include <QBasicTimer>
#include <QMainWindow>
#include <QMargins>
#include <QRect>
#include <QString>
#include <optional>

#include "corvane/platform/Export.h"

namespace corvane {

/// A main window that opens again on the display and at the place where it was closed, even if the displays have been
/// arranged differently since. Main thread.
///
///     auto* const window = new ScreenWindow;
///     window->setWindowTitle("Log");
///     window->resize(640, 480);             // the first time
///     window->setFrameAutosaveName("Log");  // from then on
///     window->show();
///
/// **What is remembered.** When a window is closed, whoever closes it, and when the application or the session ends,
/// two texts are stored in the settings behind `Defaults`, under keys that end with the window's title as it is then:
///
/// | key | value |
/// |---|---|
/// | "SCREEN_" + title | Screen::displayNameNumber of the screen that shows most of it: "U2415 808531789" |
/// | "FRAME_" + title | its frame with title bar and borders, relative to Screen::visibleFrame (RectText.h) |
/// | "STATE_" + title | a dictionary: "maximized", and "margins", the frame's thickness |
///
/// Windows of the same title share them. A maximised or full-screen window is remembered with the frame that it has
/// when it is neither. A window that is hidden or outside all screens is closed without storing anything, and so is one
/// whose closeEvent() ignores the event: it stays open.
///
/// **The frame memory.** While the display is not attached, or nothing is stored, the name given to
/// setFrameAutosaveName() is used instead: the frame on the desktop is stored under "AUTOSAVE_" + name half a second
/// after the window was last moved or resized, and when it closes.
///
/// **A restored window can be reached.** If its title bar would not meet the visible frame of any screen, it is moved
/// onto the nearest one; if it does not fit, it shrinks. So is an open window, half a second after its screen was
/// unplugged, unless the window manager has done it. Texts that are no rectangles count as not stored.
///
/// **Wayland** tells no program where its windows are and lets none choose. There, the size and the maximised state are
/// restored, the origin is stored as {0, 0}, and the compositor places the window.
class CORVANE_API ScreenWindow : public QMainWindow {
  Q_OBJECT

 public:
  /// A hidden window, as QMainWindow creates it.
  explicit ScreenWindow(QWidget* parent = nullptr, Qt::WindowFlags flags = {});
  ~ScreenWindow() override;

  /// Restores the frame: the one stored for the title, if its screen is attached; then the frame memory is off, and
  /// the result is true. Otherwise the frame memory goes on under the name: what is stored under it, if anything, is
  /// restored, and the result is true. It is false, and the frame memory is off, if another window has the name. The
  /// empty name restores only what is stored for the title, turns the frame memory off, and gives true.
  ///
  /// Call it once the title is set, best before the window is shown; a visible one moves at once.
  bool setFrameAutosaveName(const QString& name);

  /// The name under which the frame memory stores; empty while it is off.
  QString frameAutosaveName() const { return m_autosaveName; }

 protected:
  bool event(QEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  void restore(const QRect& frame);
  void place(const QRect& frame);
  bool learnMargins();
  void fitFrame();
  QRect normalFrame() const;
  void save();
  void saveAutosave();

  QString m_autosaveName;
  QBasicTimer m_settled;          // runs out when the window has stopped moving
  std::optional<QRect> m_wanted;  // the restored frame, until the window manager has made it
  bool m_isStranded = false;      // a screen has gone
  QMargins m_margins;             // between the window and its frame, as far as known
};

}  // namespace corvane
