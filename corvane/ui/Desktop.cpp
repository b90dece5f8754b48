#include "corvane/ui/Desktop.h"

#include <errno.h>
#include <unistd.h>

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QUrl>
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Log.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/fatal.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/Path.h"
#include "corvane/platform/EndSignals.h"
#include "corvane/platform/Platform.h"
#include "corvane/ui/DesktopRecord.h"
#include "corvane/ui/MainThread.h"
#include "corvane/ui/PngFile.h"
#include "corvane/ui/Screen.h"
#include "corvane/ui/ViewDrawing.h"

namespace corvane {

namespace {

constexpr std::int64_t INTERVAL = 5'000'000'000;  // ns between the beginnings of two updates
constexpr std::uint32_t IMMUTABLE = 2;            // the flag of a file that not even its owner may change
constexpr const char* IMAGE = "/desktop-image-";  // the beginning of a picture's name
constexpr const char* REFUSED = "setDesktopImageURL failed";

// What the objects of the process have in common, first the queue, on which the rest is used unless it says otherwise.
struct Shared {
  Shared(const std::string& identifier, const std::string& support)
      : images("/" + identifier + IMAGE), record(support + "/" + identifier + "/desktop-picture.plist") {}

  DispatchQueueSerial queue{"update.desktop", QoS::DEFAULT};
  const std::string images;  // what the paths of the application's own pictures contain
  std::optional<ScreenPicture> savedDesktop;
  std::optional<std::uint32_t> savedAdminFlags;  // while they are changed
  DesktopRecord record;
  int imageCounter = 0;
  bool isReported = false;              // that the desktop does not support something
  std::vector<Desktop*> living;         // main thread
  std::unique_ptr<EndSignals> signals;  // main thread; while any lives
};

Shared& shared() {
  static auto& shared = *new Shared(Bundle::mainBundle()->requiredIdentifier("Desktop"),
                                    platform().folders().applicationSupport().value_or(""));
  return shared;
}

// Says once what the desktop does not support.
void report(const Error& error) {
  if (!std::exchange(shared().isReported, true)) logNotice("Desktop: " + error.description);
}

// The path of a picture of the application's own; empty for any other one.
std::string ownPath(const ScreenPicture& picture) {
  const std::string path = QUrl(QString::fromStdString(picture.url)).toLocalFile().toStdString();
  return path.find(shared().images) == std::string::npos ? "" : path;
}

// What the user had before this process, or one that was killed, showed `current`. The picture of a killed one is put
// back; if another process of the application shows pictures at the moment, that will.
std::optional<ScreenPicture> recovered(const ScreenPicture& current, const std::string& screen) {
  DesktopRecord& record = shared().record;
  auto picture = record.read();
  if (!picture || !record.own()) return picture;
  if (platform().desktopPicture().setPicture(screen, *picture)) {
    ::unlink(ownPath(current).c_str());
    record.drop();
  } else {
    logNotice(REFUSED);
  }
  return picture;
}

// A picture without a pixel drawn, whose memory is taken when it is drawn into.
QImage emptyImage(const QSizeF& size, double scale) {
  const QSize pixels = (size * scale).toSize();
  if (pixels.isEmpty()) return {};
  const qsizetype rowBytes = qsizetype{4} * pixels.width();
  void* const bytes = std::calloc(static_cast<std::size_t>(pixels.height()), static_cast<std::size_t>(rowBytes));
  if (!bytes) return {};
  QImage image(static_cast<uchar*>(bytes), pixels.width(), pixels.height(), rowBytes,
               QImage::Format_ARGB32_Premultiplied, std::free, bytes);
  image.setDevicePixelRatio(scale);
  return image;
}

// The drawing with a colour below it.
QImage filled(QImage drawing, const QColor& color) {
  if (drawing.isNull()) return drawing;
  QPainter painter(&drawing);
  painter.setCompositionMode(QPainter::CompositionMode_DestinationOver);
  painter.fillRect(QRectF(QPointF(), drawing.deviceIndependentSize()), color);
  painter.end();
  if (color.alpha() == 255) drawing.reinterpretAsFormat(QImage::Format_RGB32);
  return drawing;
}

// A rectangle of the toolkit with y upwards, from the lower left corner of the main screen.
QRectF lowerLeft(const QRect& rect) {
  const QScreen* const main = QGuiApplication::primaryScreen();
  const QRect frame = main ? main->geometry() : QRect();
  return QRectF(rect.x() - frame.x(), frame.y() + frame.height() - rect.y() - rect.height(), rect.width(),
                rect.height());
}

// The smallest rectangle that holds the views on the screen and the origin.
QRectF united(const std::vector<QWidget*>& views) {
  double left = 0, bottom = 0, right = 0, top = 0;
  for (const QWidget* const view : views) {
    if (!view) continue;
    const QRectF place = lowerLeft({view->mapToGlobal(QPoint()), view->size()});
    left = std::min(left, place.left());
    right = std::max(right, place.right());
    bottom = std::min(bottom, place.top());  // upwards
    top = std::max(top, place.bottom());
  }
  return {left, bottom, right - left, top - bottom};
}

}  // namespace

struct Desktop::State {
  std::atomic<bool> isGone = false;  // the object
  bool isUpdating = false;           // main thread
  std::string imageFile;             // on the queue
};

// One update, on its way through the queue.
struct Desktop::Update {
  QImage drawing;
  QColor color;
  std::string folder;
  std::string screen;
};

std::optional<Desktop::FillStyle> Desktop::fillStyle(int rawValue) {
  if (rawValue < 0 || rawValue > static_cast<int>(FillStyle::SCREEN_STRETCH)) return std::nullopt;
  return static_cast<FillStyle>(rawValue);
}

Desktop::Desktop() : m_state(std::make_shared<State>()) {
  requireMainThread("Desktop");
  Shared& all = shared();
  all.living.push_back(this);
  if (!all.signals && !EndSignals::exists())
    all.signals = std::make_unique<EndSignals>([&all](int number) {
      for (Desktop* const desktop : all.living) desktop->restoreDesktop();
      std::raise(number);
    });
  saveDesktop();
}

Desktop::~Desktop() {
  restoreDesktop();
  Shared& all = shared();
  std::erase(all.living, this);
  if (all.living.empty()) all.signals.reset();
}

void Desktop::setFill(FillStyle style, const QColor& color) {
  m_fillStyle = style;
  m_fillColor = color;
}

bool Desktop::updating() const {
  return m_state->isUpdating;
}

void Desktop::setUpdating(bool updating) {
  m_state->isUpdating = updating;
}

void Desktop::useViews(const std::vector<QWidget*>& views) {
  requireMainThread("Desktop.useViews");
  if (updating()) return;
  const Timeval now;
  // A clock that was set back must not stop updates.
  if (now >= m_lastUpdate && (now - m_lastUpdate).nsec() < INTERVAL) return;
  setUpdating(true);
  m_lastUpdate = now;
  const auto end = [this](const char* reason) {
    if (reason) logNotice(reason);
    setUpdating(false);
  };
  const Screen screen(QGuiApplication::primaryScreen());
  if (screen.isEmpty()) return end(nullptr);
  QImage image = drawing(views, lowerLeft(screen.frame()), lowerLeft(screen.visibleFrame()));
  if (image.isNull()) return end("no usable image");
  const auto folder = Path::cachePath();
  if (!folder) return end("cannot find cache path");
  const auto update =
      std::make_shared<Update>(Update{std::move(image), m_fillColor, *folder, screen.qScreen()->name().toStdString()});
  const bool isQueued = shared().queue.async([state = m_state, update] {
    if (!state->isGone) show(*state, *update);
    main_async([state] { state->isUpdating = false; });
  });
  if (!isQueued) end(nullptr);
}

// On the queue.
void Desktop::show(State& state, Update& update) {
  const std::string begin = update.folder + IMAGE;
  Shared& all = shared();
  const int number = all.imageCounter++;
  const std::string oldFile = begin + std::to_string(number) + ".png";
  const std::string newFile = begin + std::to_string(number + 1) + ".png";
  const std::string temporary = newFile + ".png";
  state.imageFile = newFile;
  ::unlink(temporary.c_str());
  if (!writePngFile(filled(std::move(update.drawing), update.color), temporary) ||
      std::rename(temporary.c_str(), newFile.c_str()) != 0) {
    ::unlink(temporary.c_str());
    logNotice("cannot create file: " + newFile);
    return;
  }
  if (state.isGone) return;
  // Before the desktop shows anything else.
  if (all.savedDesktop && !all.record.isOwned() && all.record.own())
    if (const auto kept = all.record.keep(*all.savedDesktop); !kept) logNotice(kept.error().description);
  const ScreenPicture picture{QUrl::fromLocalFile(QString::fromStdString(newFile)).toEncoded().toStdString()};
  const auto shown = platform().desktopPicture().setPicture(update.screen, picture);
  if (!shown && shown.error().code != ENOTSUP) return logNotice(std::string(REFUSED) + ": " + newFile);
  ::unlink((shown ? oldFile : newFile).c_str());
  if (!shown) report(shown.error());
}

QImage Desktop::makeImage(const std::vector<QWidget*>& views, const QRectF& screenFrame, const QRectF& vis) const {
  requireMainThread("Desktop.makeImage");
  return filled(drawing(views, screenFrame, vis), m_fillColor);
}

// The views at their place on the screen.
QImage Desktop::drawing(const std::vector<QWidget*>& views, const QRectF& screenFrame, const QRectF& vis) const {
  if (!m_fillColor.isValid()) fatal("Desktop: there is no fill colour; call setFill first");
  const QScreen* const main = QGuiApplication::primaryScreen();
  const QRectF place = target(views, screenFrame, vis);
  if (m_fillStyle == FillStyle::SCREEN_FIT && place.isEmpty()) return {};
  QImage image = emptyImage(screenFrame.size(), main ? main->devicePixelRatio() : 1);
  if (image.isNull()) return image;
  // From the upper left corner of the picture, in whole points, as frames are.
  const QRect frame =
      QRectF(place.left() - screenFrame.left(), screenFrame.bottom() - place.bottom(), place.width(), place.height())
          .toRect();
  QPainter painter(&image);
  painter.setClipRect(frame);
  painter.translate(frame.topLeft());
  for (QWidget* const view : views)
    if (view) drawView(painter, *view, frame.size());
  return image;
}

// Where the views go; empty if there is no place for them.
QRectF Desktop::target(const std::vector<QWidget*>& views, const QRectF& screenFrame, const QRectF& vis) const {
  if (m_fillStyle == FillStyle::SCREEN_FILL) return vis;
  if (m_fillStyle != FillStyle::SCREEN_FIT) return screenFrame;
  const QSizeF size = united(views).size();
  if (size.isEmpty()) return {};
  const double ratio = std::max(size.width() / size.height(), size.height() / size.width());
  double width = std::min(vis.width(), vis.height() / ratio);
  double height = width * ratio;
  if (size.width() > size.height()) {
    height = std::min(vis.height(), vis.width() / ratio);
    width = height * ratio;
  }
  return {vis.x() + (vis.width() - width) / 2, vis.y() + (vis.height() - height) / 2, width, height};
}

void Desktop::saveDesktop() {
  const QScreen* const main = QGuiApplication::primaryScreen();
  const auto screen = main ? std::optional(main->name().toStdString()) : std::nullopt;
  (void)shared().queue.async([screen] {
    Shared& all = shared();
    DesktopPicture& desktop = platform().desktopPicture();
    if (screen && !all.savedDesktop) {
      if (auto current = desktop.picture(*screen); !current)
        report(current.error());
      else
        all.savedDesktop = ownPath(*current).empty() ? std::move(*current) : recovered(*current, *screen);
    }
    const std::string admin(DESKTOP_ADMIN);
    if (all.savedAdminFlags) return;  // what another object has set is not what the file had
    if (const auto flags = desktop.fileFlags(admin); flags && desktop.setFileFlags(admin, IMMUTABLE))
      all.savedAdminFlags = *flags;
  });
}

// After all that is on the queue, of which the update is cut short.
void Desktop::restoreDesktop() {
  m_state->isGone = true;
  const QScreen* const main = QGuiApplication::primaryScreen();
  const auto screen = main ? std::optional(main->name().toStdString()) : std::nullopt;
  shared().queue.sync([&] {
    Shared& all = shared();
    DesktopPicture& desktop = platform().desktopPicture();
    if (!all.savedDesktop) return;
    if (all.savedAdminFlags) (void)desktop.setFileFlags(std::string(DESKTOP_ADMIN), *all.savedAdminFlags);
    all.savedAdminFlags.reset();
    if (screen) {
      if (desktop.setPicture(*screen, *all.savedDesktop))
        all.record.drop();
      else
        logNotice(REFUSED);
    }
    if (!m_state->imageFile.empty()) ::unlink(m_state->imageFile.c_str());
  });
}

}  // namespace corvane
