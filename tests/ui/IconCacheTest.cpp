#include "corvane/ui/IconCache.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QPixmap>
#include <thread>

#include "corvane/testing/FakePlatform.h"
#include "corvane/testing/ManualClock.h"
#include "tests/support/Conditions.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

struct IconCacheTest : testing::Test {
  std::string png(const std::string& name, int width, int height, Qt::GlobalColor color) const {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    image.save(QString::fromStdString(home / name), "PNG");
    return home / name;
  }

  const TempHome home;
  const std::string red = png("red", 8, 8, Qt::red);
  const std::string blue = png("blue", 9, 9, Qt::blue);
  FakePlatform fake;
  FakeWorkspace& desktop = *fake.workspace;
};

TEST_F(IconCacheTest, EntriesLastForAMinuteAfterTheLastUseAndMissingOnesAfterTheAttempt) {
  ManualClock clock(Timeval::sec(1'000'000));
  IconCache cache;
  const auto width = [&](const char* path) { return cache.icon(path).width(); };
  desktop.icons = {{"used", red}, {"idle", red}};
  EXPECT_EQ(width("") + width("begun"), 0);
  desktop.icons["begun"] = red;
  ASSERT_TRUE(waitUntil([&] { return clock.advance(Timeval::sec(1)), width("begun") > 0; })) << "the cleaner runs";

  EXPECT_EQ(width("early"), 0);
  clock.advance(Timeval::nsec(1));
  EXPECT_EQ(width("used") + width("idle") + width("late"), 16);
  desktop.icons = {{"early", blue}, {"late", blue}, {"used", blue}, {"idle", blue}};
  clock.advance(Timeval::sec(60) - Timeval::nsec(1));
  EXPECT_TRUE(waitUntil([&] { return width("early") == 9; })) << "aged exactly 60 s";
  EXPECT_EQ(width("used"), 8) << "a nanosecond younger";
  EXPECT_EQ(width("late"), 0);
  clock.advance(Timeval::sec(59));
  EXPECT_TRUE(waitUntil([&] { return width("late") == 9; })) << "not renewed by asking";
  EXPECT_EQ(width("used"), 8) << "renewed by asking";
  EXPECT_EQ(width("idle"), 9);
  cache.clear();
  EXPECT_EQ(width("used"), 9);
}

TEST_F(IconCacheTest, UsesPicturesThatAreSound) {
  const std::string good = contentOf(png("good", 300, 100, Qt::red));
  const std::string svg = "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 20 10' ";
  png("wide", 4096, 1, Qt::red);
  png("wider", 4097, 1, Qt::red);
  for (const auto& [link, target] : {std::pair("link", "good"), {"circle", "circle"}})
    fs::create_symlink(target, home.path() / link);
  mkfifo((home / "pipe").c_str(), 0600);
  home.write("vast", good);
  fs::resize_file(home / "vast", (1 << 24) + 1);
  home.write("cut", good.substr(0, good.size() / 2));
  home.write("svg", svg + "/>");
  home.write("huge", svg + "width='100000' height='9'/>");
  IconCache cache;
  for (const char* name : {"red", "link", "svg", "wide", "wider", "huge", "vast", "cut", "circle", "pipe", "."}) {
    desktop.icons[name] = home / name;
    const std::map<std::string, QSize> sizes = {
        {"red", {8, 8}}, {"link", {128, 42}}, {"svg", {128, 64}}, {"wide", {128, 1}}};
    EXPECT_EQ(cache.icon(name).size(), sizes.contains(name) ? sizes.at(name) : QSize(0, 0)) << name;
  }
}

TEST_F(IconCacheTest, ThreadsFetchEachPathOnceAndWidgetsShareItsPixels) {
  for (int i = 0; i < 200; ++i) desktop.icons[std::to_string(i)] = red;
  const auto cache = IconCache::shared();
  const uchar* const pixels = cache->icon("0").constBits();
  std::vector<std::jthread> threads(4);
  for (std::jthread& thread : threads)
    thread = std::jthread([&] {
      for (const auto& [path, picture] : desktop.icons) EXPECT_EQ(cache->icon(path).constBits(), pixels);
    });
  threads.clear();
  EXPECT_EQ(desktop.iconLookups, 200);
  const QPixmap pixmap = cache->qIcon("0").pixmap(8);
  EXPECT_EQ(pixmap.toImage().pixelColor(4, 4), QColor(Qt::red));
  EXPECT_EQ(cache->qIcon("1").pixmap(8).cacheKey(), pixmap.cacheKey());
  EXPECT_TRUE(cache->qIcon("nowhere").isNull());
  IconCache::setShared(nullptr);
  EXPECT_EQ(cache.use_count(), 1) << "its cleaner does not hold it";
  EXPECT_DEATH(std::jthread([&] { cache->qIcon("0"); }).join(), "fatal: IconCache.qIcon: not on the main thread");
}

}  // namespace
}  // namespace corvane
