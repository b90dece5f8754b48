#include "corvane/ui/Screen.h"

#include <QGuiApplication>
#include <QVariant>
#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>
#include <utility>

#include "corvane/platform/Platform.h"
#include "corvane/system/Edid.h"
#include "corvane/system/IOObject.h"
#include "corvane/ui/MainThread.h"
#include "corvane/ui/WindowSystem.h"

namespace corvane {

namespace {

constexpr char NUMBER[] = "corvane-screen-number";  // a property of the QScreen

// What a display says about itself.
std::optional<Edid> dataOf(const QScreen& screen) {
  const std::string name = screen.name().toStdString();
  std::optional<Edid> found;
  const auto read = [&found](const std::vector<std::uint8_t>& bytes) {
    if (auto data = parseEdid(bytes)) found = std::move(*data);
  };
  if (isX11()) {
    for (const Monitor& monitor : platform().displayServer().monitors().value_or(std::vector<Monitor>()))
      if (monitor.name == name) read(monitor.idData);
    return found;
  }
  IOObject::iterateServices("IODisplayConnect", [&](const IOObject& connector) {
    const Value all = connector.properties();
    const Value* const folder = all.find("DEVPATH");
    const Value* const data = all.find("IODisplayEDID");
    if (found || !folder || !folder->isString() || !data || !data->isData()) return;
    // ".../card0-DP-1"
    const std::string_view path = *folder->asString();
    const std::string_view device = path.substr(path.rfind('/') + 1);
    if (device.starts_with("card") && device.substr(device.find('-') + 1) == name) read(data->asData()->bytes);
  });
  return found;
}

// A text that the toolkit took from the display's data, where it puts a dash for the line feed at the end.
std::string cleaned(QString text) {
  while (text.endsWith(u'-') || text.endsWith(u' ')) text.chop(1);
  return text.trimmed().toStdString();
}

// What a screen, in pixels of the desktop, keeps when panels have taken their part. A panel at the far side of another
// screen reserves all that lies between, so an edge counts only on the screen in which it ends.
QRect withoutEdges(const QRect& screen, const std::vector<ReservedEdge>& edges) {
  using Side = ReservedEdge::Side;
  QRect free = screen;
  for (const ReservedEdge& edge : edges) {
    const bool isUpright = edge.side == Side::LEFT || edge.side == Side::RIGHT;
    const auto [first, last] =
        isUpright ? std::pair(screen.top(), screen.bottom()) : std::pair(screen.left(), screen.right());
    if (edge.end <= first || edge.begin > last) continue;
    const auto [low, high] =
        isUpright ? std::pair(screen.left(), screen.right()) : std::pair(screen.top(), screen.bottom());
    if (edge.limit <= low || edge.limit > high) continue;
    switch (edge.side) {
      case Side::LEFT:
        free.setLeft(std::max(free.left(), edge.limit));
        break;
      case Side::RIGHT:
        free.setRight(std::min(free.right(), edge.limit - 1));
        break;
      case Side::TOP:
        free.setTop(std::max(free.top(), edge.limit));
        break;
      case Side::BOTTOM:
        free.setBottom(std::min(free.bottom(), edge.limit - 1));
        break;
    }
  }
  return free.isValid() ? free : screen;
}

}  // namespace

std::vector<Screen> Screen::screens() {
  requireMainThread("Screen.screens");
  std::vector<Screen> screens;
  for (QScreen* const screen : QGuiApplication::screens()) screens.emplace_back(screen);
  return screens;
}

std::uint32_t Screen::screenNumber() const {
  static std::uint32_t last = 0;
  if (!m_screen) return 0;
  if (!m_screen->property(NUMBER).isValid()) m_screen->setProperty(NUMBER, ++last);
  return m_screen->property(NUMBER).toUInt();
}

std::uint32_t Screen::screenSerialNumber() const {
  const auto data = m_screen ? dataOf(*m_screen) : std::nullopt;
  return data ? data->serial : 0;
}

std::string Screen::getDisplayName() const {
  const auto data = m_screen ? dataOf(*m_screen) : std::nullopt;
  if (data && !data->name.empty()) return data->name;
  const std::string model = m_screen ? cleaned(m_screen->model()) : "";
  if (!data && !model.empty()) return model;
  const std::string maker = data ? data->vendor : m_screen ? cleaned(m_screen->manufacturer()) : "";
  return maker.empty() ? "Unknown" : maker + ' ' + m_screen->name().toStdString();
}

std::string Screen::displayNameNumber() const {
  return getDisplayName() + ' ' + std::to_string(screenSerialNumber());
}

QRect Screen::frame() const {
  return m_screen ? m_screen->geometry() : QRect();
}

QRect Screen::visibleFrame() const {
  if (!m_screen) return {};
  const auto edges = isX11() ? platform().displayServer().reservedEdges() : failure("screen", 0, "not X11");
  if (!edges) return m_screen->availableGeometry();
  // Sizes are in points, but screens begin where they begin in pixels.
  const QRect frame = m_screen->geometry();
  const double scale = this->scale();
  const QRect pixels(frame.topLeft(), (QSizeF(frame.size()) * scale).toSize());
  const QRect free = withoutEdges(pixels, *edges);
  const auto points = [scale](int count) { return static_cast<int>(std::ceil(count / scale)); };
  return frame.adjusted(points(free.left() - pixels.left()), points(free.top() - pixels.top()),
                        -points(pixels.right() - free.right()), -points(pixels.bottom() - free.bottom()));
}

double Screen::scale() const {
  return m_screen ? m_screen->devicePixelRatio() : 0;
}

ScreenWatcher::ScreenWatcher(QObject* parent) : QObject(parent) {
  requireMainThread("ScreenWatcher");
  connect(qApp, &QGuiApplication::screenAdded, this, &ScreenWatcher::watch);
  connect(qApp, &QGuiApplication::screenAdded, this, &ScreenWatcher::note);
  connect(qApp, &QGuiApplication::screenRemoved, this, &ScreenWatcher::note);
  connect(qApp, &QGuiApplication::primaryScreenChanged, this, &ScreenWatcher::note);
  for (QScreen* const screen : QGuiApplication::screens()) watch(screen);
  if (isX11()) m_panels = platform().displayServer().watch([this] { note(); });
}

ScreenWatcher::~ScreenWatcher() = default;

void ScreenWatcher::watch(QScreen* screen) {
  connect(screen, &QScreen::geometryChanged, this, &ScreenWatcher::note);
  connect(screen, &QScreen::availableGeometryChanged, this, &ScreenWatcher::note);
  connect(screen, &QScreen::physicalDotsPerInchChanged, this, &ScreenWatcher::note);
  connect(screen, &QScreen::logicalDotsPerInchChanged, this, &ScreenWatcher::note);
}

void ScreenWatcher::note() {
  if (std::exchange(m_isNoted, true)) return;
  const auto tell = [this] {
    m_isNoted = false;
    Q_EMIT changed();
  };
  QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection);
}

}  // namespace corvane
