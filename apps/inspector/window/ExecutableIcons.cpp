#include "apps/inspector/window/ExecutableIcons.h"

#include <QPixmap>

#include "apps/inspector/window/Background.h"
#include "corvane/ui/IconCache.h"

namespace corvane::inspector {

namespace {

QIcon emptyIcon() {
  QPixmap pixmap(32, 32);
  pixmap.fill(Qt::transparent);
  return pixmap;
}

}  // namespace

ExecutableIcons::ExecutableIcons() : m_empty(emptyIcon()) {}

QIcon ExecutableIcons::icon(const std::string& path) {
  if (path.empty()) return m_empty;
  const auto [place, isNew] = m_icons.emplace(path, m_empty);
  if (isNew) look(path);
  return place->second;
}

void ExecutableIcons::look(const std::string& path) {
  const auto found = [this, path](const QImage& image) {
    if (image.isNull()) return;
    QIcon& picture = m_pictures[image.cacheKey()];
    if (picture.isNull()) picture = QPixmap::fromImage(image);
    m_icons[path] = picture;
    Q_EMIT changed();
  };
  runInBackground<QImage>(
      m_queue, this, [path] { return IconCache::shared()->icon(path); }, found);
}

}  // namespace corvane::inspector
