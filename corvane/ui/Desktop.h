#pragma once

#include <QColor>
#include <QImage>
#include <QRectF>
#include <QWidget>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/core/Timeval.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// Makes the application's views the picture of the main screen: a graph, a map, a dashboard as the desktop's
/// background. Main thread.
///
///     Desktop desktop;  // the user's own picture comes back when this dies
///     desktop.setFill(Desktop::FillStyle::SCREEN_FIT, Qt::black);
///     desktop.useViews({graph});  // again whenever the graph has changed
///
/// **Views** are drawn as they are at the moment, whether they have been shown or not, without their window's
/// background: what they leave transparent shows the views before them, and the fill colour. Each gets the frame that
/// it is drawn in and has its own one back afterwards. A QOpenGLWidget needs a platform plugin that shows it.
///
/// **Pictures** are files desktop-image-N.png in the application's cache folder; N counts from 1, and each file goes
/// when the next one is shown. They are written and handed to the desktop on a queue, so neither delays the main
/// thread. Failures are one line in the log.
///
/// **The user's picture** is looked up when the first object is made. It comes back when an object dies, and when a
/// signal ends the application that it does not handle itself (SIGTERM, SIGINT, SIGHUP). Where the process is killed,
/// the application's next Desktop puts it back, unless the user has chosen another one; until then it is noted in
/// desktop-picture.plist in the application's support folder. Where the desktop does not tell its picture, one line is
/// logged, and the last picture remains. Which desktops there are: corvane/platform/DesktopPicture.h.
class CORVANE_API Desktop {
 public:
  /// Where the views go.
  enum class FillStyle {
    SCREEN_FILL = 0,     ///< stretched over the part of the screen that panels leave free
    SCREEN_FIT = 1,      ///< in its middle, as large as fits there in the proportions that they have on the screen
    SCREEN_STRETCH = 2,  ///< stretched over the whole screen
  };

  /// The style with a raw value; std::nullopt if there is none.
  static std::optional<FillStyle> fillStyle(int rawValue);

  /// The picture that a system shows before anyone logs in. Where files have flags, it is protected from being replaced
  /// as long as a Desktop lives. Linux has no counterpart.
  static constexpr std::string_view DESKTOP_ADMIN = "/Library/Caches/com.apple.desktop.admin.png";

  /// Looks up the user's picture, in the background. Fatal if the main bundle has no identifier.
  Desktop();
  /// Puts the user's picture back and removes the own one. Waits for the desktop: 5 s for each of the two pictures.
  ~Desktop();
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;

  /// For the updates from now on. The colour covers the whole screen below the views. Before the first update there
  /// must be a valid one.
  void setFill(FillStyle style, const QColor& color);

  /// Makes these views, which may include null, the picture; later ones cover earlier ones. Does nothing while an
  /// update is in progress, and in the first 5 s after an update began; such calls are dropped, not queued. Fatal
  /// without a fill colour.
  void useViews(const std::vector<QWidget*>& views);

  /// The picture for a screen with this frame, of which panels leave `vis` free; with as many pixels to a point as the
  /// main screen has. Null if there is nothing to be drawn: no place on the screen, or with SCREEN_FIT none that the
  /// views take there. Rectangles are in points; y grows upwards, and the origin is the lower left corner of the main
  /// screen. Fatal without a fill colour.
  ///
  /// SCREEN_FIT goes by the smallest rectangle that holds all views on the screen and the origin.
  QImage makeImage(const std::vector<QWidget*>& views, const QRectF& screenFrame, const QRectF& vis) const;

  /// Whether an update is in progress. A program may change that: false lets the next update begin at once, provided
  /// that 5 s have passed.
  bool updating() const;
  void setUpdating(bool updating);

 private:
  struct State;
  struct Update;

  QRectF target(const std::vector<QWidget*>& views, const QRectF& screenFrame, const QRectF& vis) const;
  QImage drawing(const std::vector<QWidget*>& views, const QRectF& screenFrame, const QRectF& vis) const;
  void saveDesktop();
  void restoreDesktop();
  static void show(State& state, Update& update);

  const std::shared_ptr<State> m_state;  // shared with the work on the queue
  FillStyle m_fillStyle = FillStyle::SCREEN_FILL;
  QColor m_fillColor;  // at first invalid: none
  Timeval m_lastUpdate = Timeval::nsec(0);
};

}  // namespace corvane
