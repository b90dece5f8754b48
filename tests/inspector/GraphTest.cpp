#include <gmock/gmock.h>

#include <cmath>

#include "apps/inspector/window/GraphAxis.h"
#include "apps/inspector/window/LineGraph.h"

namespace corvane::inspector {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr Moment START{1000s};

TEST(History, HoldsTheLastHourAndKnowsItsGaps) {
  History history(0.5);
  Moment time = START;
  for (int i = 0; i < 3 * 7200; ++i) history.add(i, time += 500ms);
  EXPECT_EQ(history.readings().size(), 7201U);
  EXPECT_EQ(history.readings().front().time, time - 1h);
  history.add(7, time + 10s);  // after a pause
  EXPECT_THAT(history.newest(3), ElementsAre(3 * 7200 - 1, std::nullopt, 7));
  history.add(std::nan(""), time + 10s);
  EXPECT_EQ(history.newest(1).front(), std::nullopt);
}

TEST(Graph, ReducesReadingsToColumnsOfPixelsBetweenGaps) {
  History history;
  for (const auto& [time, value] : {std::pair(100ms, 4.0), {400ms, 1.0}, {700ms, 3.0}, {1000ms, 10.0}})
    history.add(value, START + time);
  history.add(std::nullopt, START + 1500ms);
  history.add(6, START + 2s);
  const auto strokes = graphStrokes(history.readings(), {START + 4s, 4, 4});  // a second for each pixel
  ASSERT_EQ(strokes.size(), 2U);
  EXPECT_THAT(strokes[0].line, ElementsAre(QPointF(0.5, 8.0 / 3), QPointF(1, 10)));
  EXPECT_THAT(strokes[0].low, ElementsAre(QPointF(0.5, 1), QPointF(1, 10)));
  EXPECT_THAT(strokes[0].high, ElementsAre(QPointF(0.5, 4), QPointF(1, 10)));
  EXPECT_THAT(strokes[1].line, ElementsAre(QPointF(2, 6)));
}

TEST(Graph, HasRoundValuesOnItsAxis) {
  const auto axis = [](Range range, bool isExact, Unit unit) {
    const ValueAxis result(range, isExact, 4, unit);
    return QStringLiteral("%1..%2 %3 %4")
        .arg(result.range.low)
        .arg(result.range.high)
        .arg(result.ticks.size())
        .arg(result.ticks.back().text);
  };
  EXPECT_EQ(axis({0, 100}, true, Unit::PERCENT).toStdString(), "0..100 3 100\u00a0%");
  EXPECT_EQ(axis({0, 3.5 * 1024}, true, Unit::BYTES).toStdString(), "0..3584 2 2 KiB");
  EXPECT_EQ(axis({0, 2'300'000}, false, Unit::BYTES_PER_SECOND).toStdString(), "0..3e+06 4 3 MB/s");
  EXPECT_EQ(axis({0, 0}, false, Unit::BYTES_PER_SECOND).toStdString(), "0..1000 3 1 kB/s");
  EXPECT_EQ(axis({311, 311}, false, Unit::COUNT).toStdString(), "311..312 2 312");
  EXPECT_EQ(timeTicks(QDateTime(QDate(2026, 1, 1), QTime(0, 0, 20)), 60, 4).back().text.toStdString(), "23:59:30");
}

TEST(Graph, DrawsItsLineWithoutAWindow) {
  History history;
  for (int i = 0; i < 50; ++i)
    history.add(i < 20 || i > 30 ? std::optional(50.0) : std::nullopt, Moment::clock::now() - 1s * (50 - i));
  LineGraph graph("Load", Unit::PERCENT, {{QString(), &history}});
  graph.setRange([](Range) { return Range{0, 100}; }, true);
  for (const auto direction : {Qt::LeftToRight, Qt::RightToLeft}) {
    graph.setLayoutDirection(direction);
    graph.resize(400, 200);
    graph.refresh();
    EXPECT_EQ(graph.accessibleDescription().toStdString(), "50.0\u00a0%");
    QImage image(graph.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    graph.render(&image);
    int coloured = 0;
    for (int x = 0; x < image.width(); ++x) {
      bool isLine = false;
      for (int y = 40; y < 160; ++y) isLine |= image.pixelColor(x, y).saturation() > 200;
      coloured += isLine ? 1 : 0;
    }
    // Of the 60 seconds, 38 have a line.
    EXPECT_NEAR(coloured / (400 - 28 - 60.0), 38.0 / 60, 0.1) << direction;
  }
}

}  // namespace

}  // namespace corvane::inspector
