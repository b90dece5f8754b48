// A hit of the icon cache: 100,000 look-ups of 5,000 paths in random order, as when long lists are redrawn. Beside
// QPixmapCache, which knows no age, and beside the least that such a cache must do: look the path up and read the
// clock.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QPixmapCache>
#include <filesystem>
#include <random>
#include <unordered_map>

#include "bench/Measure.h"
#include "corvane/platform/Platform.h"
#include "corvane/testing/FakeWorkspace.h"
#include "corvane/ui/IconCache.h"

namespace {

constexpr std::size_t PATHS = 5'000;
constexpr std::size_t LOOKUPS = 100'000;
constexpr std::size_t PICTURES = 40;  // as different as the types of files in a home folder

std::string pathOf(std::size_t i) {
  return "/usr/share/applications/some-folder/file-" + std::to_string(i) + ".desktop";
}

// The order is the same for all.
const std::vector<std::string>& lookups() {
  static const auto paths = [] {
    std::mt19937 random(1);
    std::vector<std::string> order(LOOKUPS);
    for (std::string& path : order) path = pathOf(random() % PATHS);
    return order;
  }();
  return paths;
}

template <class Key, class Lookup>
void measure(benchmark::State& state, Key&& key, Lookup&& lookup) {
  std::vector<decltype(key(std::string()))> keys;
  for (const std::string& path : lookups()) keys.push_back(key(path));
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(lookup(keys[next]));
    next = next + 1 == LOOKUPS ? 0 : next + 1;
  }
}

void hitCorvane(benchmark::State& state) {
  // A desktop whose pictures are these.
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "corvane-icons-bench";
  std::filesystem::create_directories(folder);
  QImage picture(64, 64, QImage::Format_ARGB32_Premultiplied);
  const auto desktop = std::make_shared<corvane::FakeWorkspace>();
  for (std::size_t i = 0; i < PICTURES; ++i) {
    picture.fill(QColor::fromHsv(static_cast<int>(i * 9), 255, 255));
    picture.save(QString::fromStdString(folder / (std::to_string(i) + ".png")));
  }
  for (std::size_t i = 0; i < PATHS; ++i) desktop->icons[pathOf(i)] = folder / (std::to_string(i % PICTURES) + ".png");
  corvane::Platform platform;
  platform.serialQueues.set({std::shared_ptr<void>(), &corvane::platform().serialQueues()});
  platform.workspace.set(desktop);
  {
    const corvane::ScopedPlatform scope(platform);
    corvane::IconCache cache;
    cache.icon("/missing");  // so that this is looked at, too
    for (const std::string& path : lookups())
      if (cache.icon(path).isNull()) state.SkipWithError("no icon");
    measure(
        state, [](const std::string& path) { return path; }, [&](const std::string& path) { return cache.icon(path); });
  }
  std::filesystem::remove_all(folder);
}
BENCHMARK(hitCorvane)->Name("icons.hit/Corvane IconCache");

void hitPixmapCache(benchmark::State& state) {
  int count = 0;
  char name[] = "bench";
  char* arguments[] = {name, nullptr};
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(count = 1, arguments);
  QPixmapCache::setCacheLimit(1 << 20);  // KiB: nothing is dropped
  const QPixmap pixmap(64, 64);
  for (std::size_t i = 0; i < PATHS; ++i) QPixmapCache::insert(QString::fromStdString(pathOf(i)), pixmap);
  measure(
      state, [](const std::string& path) { return QString::fromStdString(path); },
      [](const QString& path) {
        QPixmap found;
        QPixmapCache::find(path, &found);
        return found;
      });
}
BENCHMARK(hitPixmapCache)->Name("icons.hit/QPixmapCache");

void hitBare(benchmark::State& state) {
  std::unordered_map<std::string, std::int64_t> times;
  for (std::size_t i = 0; i < PATHS; ++i) times[pathOf(i)] = 0;
  measure(
      state, [](const std::string& path) { return path; },
      [&](const std::string& path) { return times.find(path)->second = bench::nowNsec(CLOCK_REALTIME); });
}
BENCHMARK(hitBare)->Name("icons.hit/hash look-up + clock");

}  // namespace
