#pragma once

#include <QIcon>
#include <QImage>
#include <cstdint>
#include <memory>
#include <string>

#include "corvane/platform/Export.h"

namespace corvane {

class TimerQueue;

/// The icons of files by path, kept decoded in memory: for lists that show many files and redraw often.
///
///     const QImage image = IconCache::shared()->icon("/usr/bin/env");  // any thread
///     button->setIcon(IconCache::shared()->qIcon(path));               // the main thread
///
/// **What is kept.** A path that was asked for in the last minute answers from memory, without looking at any file. A
/// path that has no icon is remembered as missing for a minute after the attempt, whether or not it is asked for, and
/// then looked up again. A cleaner on a thread of its own drops what is too old every ten seconds, so an entry that
/// nobody asks for lives 60 to 70 s. Times follow the real-time clock.
///
/// **The first lookup** of a path asks the desktop which picture the file has (Bundle::icon) and decodes that,
/// typically in a millisecond. The cache is locked meanwhile: two threads that ask for the same new path decode it
/// once, and all others wait. So fill it on another thread before a window shows hundreds of new paths. Files that
/// share a picture share its pixels.
///
/// **Pictures** are PNG or SVG. They have the pixels of the file, but 128 at most on the longer side, and vector
/// graphics are drawn with just that many: enough for 64 points on a screen of scale 2. An icon counts as missing if
/// its picture is broken, has no size, claims more than 4096 pixels on a side, or is in a file of more than 16 MiB, or
/// in something that is no file.
class CORVANE_API IconCache {
 public:
  static constexpr std::int64_t MAX_CACHE_AGE = 60'000'000;  ///< microseconds after which an entry is dropped
  static constexpr double RUN_INTERVAL = 10.0;               ///< the cleaner's period in seconds

  /// The cache of the process. Created on first use, with its cleaner; never destroyed. Any thread.
  static std::shared_ptr<IconCache> shared();
  /// Replaces it; the previous one ends when nobody holds it. With null the next shared() creates a new one.
  static void setShared(std::shared_ptr<IconCache> cache);

  /// An empty cache whose cleaner runs. Programs use the shared one.
  IconCache();
  /// Stops the cleaner and waits for a pass in progress.
  ~IconCache();
  IconCache(const IconCache&) = delete;
  IconCache& operator=(const IconCache&) = delete;

  /// The icon of the file at a path, as a picture whose pixels are shared with the cache; null if it has none, and for
  /// an empty path. Any thread. Paths are compared as texts: write each file's in one way.
  QImage icon(const std::string& path);

  /// The same for widgets. Main thread, with a QGuiApplication; fatal otherwise. The pixmap is kept in QPixmapCache,
  /// and so are the sizes that widgets draw it in. Smaller pictures are never enlarged.
  QIcon qIcon(const std::string& path);

  /// Forgets everything: the next lookup of any path asks the desktop again. Any thread.
  void clear();

 private:
  struct Entries;

  const std::shared_ptr<Entries> m_entries;
  const std::shared_ptr<TimerQueue> m_timer;
};

}  // namespace corvane
