#include "corvane/ui/IconCache.h"

#include <QFileInfo>
#include <QImageReader>
#include <QPixmap>
#include <QPixmapCache>
#include <thread>
#include <unordered_map>
#include <utility>

#include "corvane/core/Mutex.h"
#include "corvane/core/SharedInstance.h"
#include "corvane/core/TimerQueue.h"
#include "corvane/core/Timeval.h"
#include "corvane/infra/Bundle.h"
#include "corvane/ui/MainThread.h"

namespace corvane {

namespace {

constexpr const char* CLEANER = "org.corvane.iconcachecleaner";
constexpr int MAX_PIXELS = 128;            // on the longer side of a kept picture
constexpr int MAX_FILE_PIXELS = 4096;      // on a side of what is decoded: 64 MiB
constexpr qint64 MAX_FILE_SIZE = 1 << 24;  // bytes

// The picture in a file; null if there is none that can be used.
QImage decoded(const QString& file) {
  const QFileInfo info(file);
  if (!info.isFile() || info.size() > MAX_FILE_SIZE) return {};  // opening a pipe would wait
  QImageReader reader(file);
  const QSize size = reader.size();
  if (size.width() > MAX_FILE_PIXELS || size.height() > MAX_FILE_PIXELS) return {};
  if (!size.isEmpty() && (reader.format().startsWith("svg") || std::max(size.width(), size.height()) > MAX_PIXELS))
    reader.setScaledSize(size.scaled(MAX_PIXELS, MAX_PIXELS, Qt::KeepAspectRatio).expandedTo({1, 1}));
  // What widgets draw fastest, and what QPixmap takes over without a copy.
  return reader.read().convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

}  // namespace

// Apart from the cache, so that a cleaner which begins when its cache is gone finds that out.
struct IconCache::Entries {
  using Picture = std::shared_ptr<const QImage>;
  struct Entry {
    Timeval lastAccess;  // or the time of the failed attempt, which is not renewed
    Picture picture;     // null if the path has no icon
  };

  Mutex mutex;
  std::unordered_map<std::string, Entry> paths CORVANE_GUARDED_BY(mutex);
  std::unordered_map<std::string, std::weak_ptr<const QImage>> files CORVANE_GUARDED_BY(mutex);

  Picture fetch(const std::string& path) CORVANE_REQUIRES(mutex) {
    const auto icon = Bundle::icon(path);
    if (!icon) return nullptr;
    auto& known = files[icon->sourceFile()];
    if (auto picture = known.lock()) return picture;
    QImage image = decoded(QString::fromStdString(icon->sourceFile()));
    if (image.isNull()) return nullptr;
    auto picture = std::make_shared<const QImage>(std::move(image));
    known = picture;
    return picture;
  }

  void clean() {
    MutexLock lock(mutex);
    const Timeval now;
    std::erase_if(paths, [&now](const auto& path) { return path.second.lastAccess + MAX_CACHE_AGE <= now; });
    std::erase_if(files, [](const auto& file) { return file.second.expired(); });
  }
};

std::shared_ptr<IconCache> IconCache::shared() {
  return SharedInstance<IconCache>::get();
}

void IconCache::setShared(std::shared_ptr<IconCache> cache) {
  SharedInstance<IconCache>::set(std::move(cache));
}

IconCache::IconCache()
    : m_entries(std::make_shared<Entries>()),
      m_timer(std::make_shared<TimerQueue>(CLEANER, RUN_INTERVAL, nullptr, [entries = std::weak_ptr(m_entries)] {
        if (const auto alive = entries.lock()) alive->clean();
      })) {
  m_timer->start(QoS::DEFAULT);
}

IconCache::~IconCache() {
  // Stopping takes effect only once the loop has begun, which takes a moment after the start. If the system refused the
  // thread it never does.
  for (int i = 0; i < 1000 && m_timer->isStopped(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  m_timer->stop();
}

QImage IconCache::icon(const std::string& path) {
  if (path.empty()) return {};
  Entries& entries = *m_entries;
  MutexLock lock(entries.mutex);
  const auto known = entries.paths.find(path);
  if (known != entries.paths.end()) {
    Entries::Entry& entry = known->second;
    if (!entry.picture) return {};
    entry.lastAccess = Timeval();
    return *entry.picture;
  }
  auto picture = entries.fetch(path);
  const auto& entry = entries.paths[path] = {Timeval(), std::move(picture)};
  return entry.picture ? *entry.picture : QImage();
}

QIcon IconCache::qIcon(const std::string& path) {
  requireMainThread("IconCache.qIcon");
  const QImage image = icon(path);
  if (image.isNull()) return {};
  const QString key = QStringLiteral("corvane-icon-%1").arg(image.cacheKey());
  QPixmap pixmap;
  if (!QPixmapCache::find(key, &pixmap)) {
    pixmap = QPixmap::fromImage(image);
    QPixmapCache::insert(key, pixmap);
  }
  return QIcon(pixmap);
}

void IconCache::clear() {
  Entries& entries = *m_entries;
  MutexLock lock(entries.mutex);
  entries.paths.clear();
  entries.files.clear();
}

}  // namespace corvane
