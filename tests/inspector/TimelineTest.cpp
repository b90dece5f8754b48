#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTest>
#include <QWheelEvent>
#include <sstream>

#include "apps/inspector/window/SpanText.h"
#include "apps/inspector/window/TimelineView.h"

namespace corvane::inspector {

namespace {

using Kind = ActivitySpan::Kind;

ActivitySpan span(Kind kind, std::uint32_t thread, std::int64_t start, std::int64_t end, const char* name = "") {
  return {kind, thread, start, end, 0, name, ""};
}

// A line for each row: "7*: loop[0-100] …", with a star for the main thread and a plus for what goes on.
std::string drawn(const TimelineLanes& lanes) {
  std::ostringstream text;
  for (const TimelineLanes::Lane& lane : lanes.lanes())
    for (const TimelineLanes::Row& row : lane.rows) {
      text << lane.thread << (lane.isMain ? "*:" : ":");
      for (const TimelineLanes::Span& each : row)
        text << ' ' << lanes.nameOf(each).name << '[' << each.start << '-' << each.end << (each.isOpen ? "+]" : "]");
      text << '\n';
    }
  return text.str();
}

TEST(TimelineLayout, SpansLieBelowThoseThatTheyArePartOf) {
  using enum Kind;
  const Recording recording{{span(REPEATER, 7, 20, 80, "r"), span(MAIN_ITEM, 7, 10, 90, "i"),
                             span(MAIN_LOOP, 7, 0, 100), span(MAIN_ITEM, 7, 120, 130, "late"),  // its turn is lost
                             span(TIMER, 3, 60, 60, "t"), span(QUEUE_ITEM, 3, 5, 0, "timers"),  // goes on
                             span(QUEUE_ITEM, 4, 90, 20, "back"), span(QUEUE_ITEM, 4, -7, -3, "early"),
                             span(MAIN_ITEM, 7, 200, 210, "same"), span(REPEATER, 7, 200, 210, "time")},
                            3};
  EXPECT_EQ(drawn(TimelineLanes(recording)),
            "7*: [0-100]\n7*: i[10-90] late[120-130] same[200-210]\n7*: r[20-80] time[200-210]\n"
            "3: timers[5-210+]\n3: t[60-60]\n"
            "4: early[0-0] back[90-90]\n");
  EXPECT_EQ(TimelineLanes({{span(TIMER, 3, 60, 0)}, 0}, 10, 75).at({}).duration(), 15) << "it went on until then";
  EXPECT_EQ(drawn(TimelineLanes({{span(MAIN_ITEM, 1, INT64_MIN, INT64_MAX, "all")}, 0})),
            "1*: all[0-4611686018427387904]\n");
  const TimelineLanes last(recording, 100e-9);
  EXPECT_EQ(last.begin(), 110) << "of what began before, the last part is shown";
  EXPECT_EQ(last.end(), 210);
}

TEST(TimelineLayout, NarrowSpansShareColumns) {
  using enum Kind;
  const auto bars = [](std::vector<ActivitySpan> spans, TimelineWindow window) {
    const TimelineLanes lanes({std::move(spans), 0});
    std::vector<bool> marked;
    for (const auto& name : lanes.names()) marked.push_back(name.name == "m");
    std::ostringstream text;
    for (const auto& bar : TimelineLanes::bars(lanes.lanes().front().rows.front(), window, marked))
      text << bar.left << '-' << bar.right << ':' << bar.index << (bar.isMarked ? "m" : "") << " x" << bar.count << ' '
           << bar.share << "; ";
    return text.str();
  };
  const TimelineWindow window{100, 100, 10};  // 10 ns for each column
  const auto item = [](std::int64_t start, std::int64_t end, const char* name = "a") {
    return span(QUEUE_ITEM, 1, start, end, name);
  };
  const struct {
    std::vector<ActivitySpan> spans;
    const char* expected;
  } rows[] = {
      {{item(110, 130)}, "1-3:0 x1 1; "},
      {{item(110, 112), item(113, 117), item(118, 119)}, "1-2:1 x3 0.7; "},              // the longest of them
      {{item(110, 112, "m"), item(113, 117)}, "1-2:0m x2 0.6; "},                        // but a marked one first
      {{item(110, 112), item(113, 133)}, "1-2:0 x1 0.2; 2-3:1 x1 1; "},                  // begins beside it
      {{item(110, 133), item(134, 136), item(137, 139)}, "1-3:0 x1 1; 3-4:1 x2 0.4; "},  // after it
      {{item(0, 90), item(95, 105), item(150, 151), item(200, 205), item(205, 300)},     // only what is seen
       "-1-0:1 x1 1; 5-6:2 x1 0.1; 10-11:3 x1 0.5; "},
      {{item(0, 1000)}, "-1-11:0 x1 1; "},
  };
  for (const auto& row : rows) EXPECT_EQ(bars(row.spans, window), row.expected);
}

// 20 seconds of a main thread and a queue.
std::shared_ptr<TimelineLanes> lanes() {
  Recording recording;
  for (std::int64_t i = 0; i < 1000; ++i) {
    const std::int64_t start = i * 20'000'000;
    recording.spans.push_back(
        span(Kind::MAIN_ITEM, 1, start, start + (i == 700 ? 15'000'000 : 5'000'000), i % 10 == 0 ? "tenth" : "item"));
    recording.spans.push_back(span(Kind::QUEUE_ITEM, 2, start + 1'000'000, start + 9'000'000, "queue"));
  }
  return std::make_shared<TimelineLanes>(recording);
}

struct TimelineUse : testing::Test {
  TimelineUse() {
    view.resize(900, 300);
    view.show();
    view.setLanes(all);
  }
  const TimelineLanes::Span& selected() const { return all->at(*view.selected()); }

  const std::shared_ptr<TimelineLanes> all = lanes();
  TimelineView view;
};

TEST_F(TimelineUse, TheWheelZoomsAroundTheMouse) {
  const TimelineView::Place place{0, 0, 600};
  const QPointF at = view.areaOf(place).topLeft() + QPointF(0.1, 5);
  for (int i = 0; i < 30; ++i) {
    QWheelEvent event(at, view.mapToGlobal(at), {}, {0, 120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(view.viewport(), &event);
  }
  EXPECT_NEAR(view.length(), 20.4e9 / std::pow(1.25, 30), 1e6);
  EXPECT_TRUE(view.areaOf(place).adjusted(-2, 0, 2, 0).contains(at));
  EXPECT_EQ(view.placeAt(at), place);
  EXPECT_EQ(view.placeAt(at + QPointF(0, 500)), std::nullopt);
  view.setLength(1, 0);
  EXPECT_EQ(view.length(), TimelineView::LEAST_LENGTH);
  view.showAll();
  EXPECT_NEAR(view.length(), 20.4e9, 1e8);
}

TEST_F(TimelineUse, KeysAndSearchGoFromSpanToSpan) {
  view.setLength(1e9, 0);
  view.select(all->longest(0));  // far beyond what is in view
  EXPECT_EQ(selected().duration(), 15'000'000);
  EXPECT_TRUE(QRectF(view.viewport()->rect()).contains(view.areaOf(*view.selected())));
  const std::int64_t start = selected().start;
  const struct {
    Qt::Key key;
    TimelineView::Place expected;
  } steps[] = {{Qt::Key_Right, {0, 0, 701}}, {Qt::Key_Left, {0, 0, 700}},   {Qt::Key_Up, {0, 0, 700}},
               {Qt::Key_Down, {1, 0, 700}},  {Qt::Key_Return, {1, 0, 700}}, {Qt::Key_Down, {1, 0, 700}}};
  for (const auto& [key, expected] : steps) {
    QTest::keyClick(&view, key);
    EXPECT_EQ(view.selected(), expected) << key;
  }
  EXPECT_NEAR(view.length(), 10e6, 1e6) << "zoomed to the span";
  EXPECT_THAT(view.accessibleDescription().toStdString(), testing::HasSubstr("queue, Queue, 8.00 ms"));
  const std::vector<bool> tenths = {true, false, false};
  EXPECT_EQ(all->at(*all->next(view.selected(), false, tenths)).start, start + 200'000'000);
  EXPECT_EQ(all->at(*all->next(view.selected(), true, tenths)).start, start);
  EXPECT_EQ(all->next(TimelineView::Place{0, 0, 990}, false, tenths), std::nullopt);
  EXPECT_EQ(all->next(std::nullopt, true, tenths), (TimelineView::Place{0, 0, 990}));
}

TEST(SpanText, HasThreeDigitsAndRoundSteps) {
  for (const auto& [nsec, text] : {std::pair(std::int64_t{850}, "850 ns"),
                                   {1'000, "1.00 µs"},
                                   {12'345, "12.3 µs"},
                                   {99'960, "100 µs"},
                                   {9'996'000, "10.0 ms"},
                                   {75'200'000'000, "75.2 s"}})
    EXPECT_EQ(durationText(nsec).toStdString(), text);
  for (const auto& [step, text] :
       {std::pair(5e8, "2,500 ms"), {1e9, "3 s"}, {2e3, "2,500,000 µs"}, {200, "2,500,000.0 µs"}})
    EXPECT_EQ(offsetText(2'500'000'000, step).toStdString(), text);
}

}  // namespace

}  // namespace corvane::inspector
