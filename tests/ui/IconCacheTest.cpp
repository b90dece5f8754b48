#include "corvane/ui/IconCache.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QBuffer>
#include <atomic>
#include <barrier>
#include <thread>

#include "corvane/platform/Platform.h"
#include "corvane/testing/FakeWorkspace.h"
#include "corvane/testing/ManualClock.h"
#include "tests/support/Conditions.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

std::string png(int width, int height, QColor color = Qt::red) {
  QImage image(width, height, QImage::Format_RGB32);
  image.fill(color);
  QBuffer buffer;
  buffer.open(QIODevice::WriteOnly);
  image.save(&buffer, "PNG");
  return buffer.data().toStdString();
}

// A desktop that counts how often it is asked for an icon.
struct CountingWorkspace : FakeWorkspace {
  std::atomic<int> asked = 0;
  Result<std::string> iconFile(const std::string& path, int size) override {
    ++asked;
    return FakeWorkspace::iconFile(path, size);
  }
};

class IconCacheTest : public testing::Test {
 protected:
  IconCacheTest() {
    m_platform.serialQueues.set({std::shared_ptr<void>(), &platform().serialQueues()});
    m_platform.workspace.set(desktop);
    scope.emplace(m_platform);
  }

  // The colour of a path's icon; invalid if it has none.
  static QColor colorOf(IconCache& cache, const std::string& path) {
    const QImage image = cache.icon(path);
    return image.isNull() ? QColor() : image.pixelColor(0, 0);
  }

  const TempHome home;
  const std::string red = home.write("red.png", png(8, 8));
  const std::string blue = home.write("blue.png", png(8, 8, Qt::blue));
  const std::shared_ptr<CountingWorkspace> desktop = std::make_shared<CountingWorkspace>();

 private:
  Platform m_platform;

 protected:
  std::optional<ScopedPlatform> scope;
};

TEST_F(IconCacheTest, EntriesLastForAMinuteAfterTheLastUseAndMissingOnesAfterTheAttempt) {
  const QColor RED = Qt::red;
  const QColor BLUE = Qt::blue;
  const QColor NONE;
  ManualClock clock(Timeval::sec(1'000'000));
  IconCache cache;
  // Once a missing path is tried again the cleaner has begun.
  colorOf(cache, "begun");
  desktop->icons = {{"begun", red}, {"used", red}, {"idle", red}};
  ASSERT_TRUE(waitUntil([&] {
    clock.advance(Timeval::sec(1));
    return colorOf(cache, "begun") == RED;
  }));

  colorOf(cache, "early");
  clock.advance(Timeval::nsec(1));
  EXPECT_EQ(colorOf(cache, "used"), RED);
  EXPECT_EQ(colorOf(cache, "idle"), RED);
  EXPECT_EQ(colorOf(cache, "late"), NONE);
  desktop->icons = {{"early", red}, {"late", red}, {"used", blue}, {"idle", blue}};
  clock.advance(Timeval::sec(60) - Timeval::nsec(1));
  EXPECT_TRUE(waitUntil([&] { return colorOf(cache, "early") == RED; })) << "aged exactly 60 s";
  EXPECT_EQ(colorOf(cache, "used"), RED) << "a nanosecond younger";
  EXPECT_EQ(colorOf(cache, "late"), NONE);
  clock.advance(Timeval::sec(59));
  EXPECT_TRUE(waitUntil([&] { return colorOf(cache, "late") == RED; })) << "not renewed by asking";
  EXPECT_EQ(colorOf(cache, "used"), RED) << "renewed by asking";
  EXPECT_EQ(colorOf(cache, "idle"), BLUE);
  const int asked = desktop->asked;
  EXPECT_EQ(colorOf(cache, "used"), RED);
  EXPECT_EQ(colorOf(cache, ""), NONE);
  EXPECT_EQ(desktop->asked, asked);
  cache.clear();
  EXPECT_EQ(colorOf(cache, "used"), BLUE);
}

TEST_F(IconCacheTest, UsesPicturesThatAreSound) {
  const auto svg = [](const std::string& size) {
    return "<svg xmlns='http://www.w3.org/2000/svg' " + size + "><rect width='9' height='9'/></svg>";
  };
  const std::string good = png(300, 100);
  home.write("good.png", good);
  for (const auto& [link, target] : {std::pair("link", "good.png"), {"dangling", "nowhere"}, {"a", "b"}, {"b", "a"}})
    fs::create_symlink(target, home.path() / link);
  mkfifo((home / "pipe").c_str(), 0600);
  home.write("vast-file.png", good);
  fs::resize_file(home / "vast-file.png", (1 << 24) + 1);
  const QSize none(0, 0);
  const std::vector<std::tuple<std::string, std::string, QSize>> rows = {
      {"link", "", {128, 42}},
      {"small.png", png(7, 9), {7, 9}},
      {"wide.png", png(4096, 1), {128, 1}},
      {"drawn.svg", svg("width='8' height='16'"), {64, 128}},
      {"unsized.svg", svg("viewBox='0 0 20 10'"), {128, 64}},
      {"wider.png", png(4097, 1), none},
      {"vast.svg", svg("width='100000' height='100000'"), none},
      {"vast-file.png", "", none},
      {"dangling", "", none},
      {"a", "", none},
      {".", "", none},
      {"pipe", "", none},
      {"empty.png", "\n", none},
      {"text.png", "hello", none},
      {"cut.png", good.substr(0, good.size() / 2), none},
      {"cut.svg", svg("width='8' height='8'").substr(0, 60), none},
  };
  IconCache cache;
  for (const auto& [name, content, size] : rows) {
    if (!content.empty()) home.write(name, content);
    desktop->icons[name] = home / name;
    EXPECT_EQ(cache.icon(name).size(), size) << name;
  }
}

TEST_F(IconCacheTest, ThreadsThatAskForTheSamePathsFetchEachOnce) {
  constexpr int PATHS = 200;
  for (int i = 0; i < PATHS; ++i) desktop->icons[std::to_string(i)] = i % 2 == 0 ? red : blue;
  IconCache cache;
  std::barrier start(4);
  std::vector<std::jthread> threads;
  std::array<std::atomic<const uchar*>, 2> pixels{};
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&] {
      start.arrive_and_wait();
      for (unsigned i = 0; i < PATHS; ++i) {
        QImage image = cache.icon(std::to_string(i));
        const uchar* first = nullptr;
        pixels[i % 2].compare_exchange_strong(first, image.constBits());
        EXPECT_TRUE(!first || first == image.constBits()) << "files with the same picture share it";
        image.setPixelColor(0, 0, Qt::green);  // a copy of the caller's
      }
    });
  threads.clear();
  EXPECT_EQ(desktop->asked, PATHS);
  EXPECT_EQ(colorOf(cache, "0"), QColor(Qt::red));
}

TEST_F(IconCacheTest, AReplacedCacheStopsItsCleaner) {
  for (int i = 0; i < 20; ++i) {
    const std::weak_ptr<IconCache> cache = IconCache::shared();
    EXPECT_EQ(cache.lock(), IconCache::shared());
    IconCache::setShared(nullptr);
    EXPECT_TRUE(cache.expired());
  }
  // Threads without work end after a while.
  EXPECT_TRUE(waitUntil([] {
    const auto tasks = fs::directory_iterator("/proc/self/task");
    return std::none_of(begin(tasks), end(tasks),
                        [](const auto& task) { return contentOf(task.path() / "comm") == "concachecleaner\n"; });
  }));
}

TEST_F(IconCacheTest, GivesWidgetsAnIcon) {
  desktop->icons = {{"file", red}};
  IconCache cache;
  EXPECT_TRUE(cache.qIcon("nowhere").isNull());
  const QPixmap pixmap = cache.qIcon("file").pixmap(8);
  EXPECT_EQ(pixmap.toImage().pixelColor(4, 4), QColor(Qt::red));
  EXPECT_EQ(cache.qIcon("file").pixmap(8).cacheKey(), pixmap.cacheKey()) << "made once";
  EXPECT_DEATH(std::jthread([&] { cache.qIcon("file"); }).join(), "fatal: IconCache.qIcon: not on the main thread");
}

}  // namespace
}  // namespace corvane
