// The timeline of a recording of 130,000 spans: a frame while it is dragged, at several zooms, and while it is zoomed;
// and the time that it takes to arrange the recording. Beside a QGraphicsView with an item for each span.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QGraphicsItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>
#include <chrono>
#include <random>

#include "apps/inspector/window/SpanText.h"
#include "apps/inspector/window/TimelineColours.h"
#include "apps/inspector/window/TimelineView.h"

namespace {

using namespace corvane;
using namespace corvane::inspector;
using Kind = ActivitySpan::Kind;

constexpr std::size_t COUNT = 130'000;
constexpr QSize SIZE(1'000, 700);
constexpr double ROW = 24;

class Application {
 public:
  Application() { QApplication::setStyle("Fusion"); }

 private:
  int m_argc = 1;
  char m_name[6] = "bench";
  char* m_argv[2] = {m_name, nullptr};
  const QApplication m_application{(qputenv("QT_QPA_PLATFORM", "offscreen"), m_argc), m_argv};
};

// Turns of the main loop with items and repeaters in them, and seven threads with items of queues.
Recording recording() {
  std::mt19937 random(1);
  Recording recording;
  const auto add = [&](Kind kind, std::uint32_t thread, std::int64_t start, std::int64_t length, const char* of) {
    recording.spans.push_back({kind, thread, start, start + length, 500,
                               kind == Kind::MAIN_LOOP ? "" : of + std::to_string(random() % 100), ""});
  };
  for (std::int64_t time = 1'700'000'000'000'000'000; recording.spans.size() < COUNT; time += 400'000) {
    const auto length = static_cast<std::int64_t>(100'000 + random() % 250'000);
    add(Kind::MAIN_LOOP, 1, time, length, "");
    add(Kind::MAIN_ITEM, 1, time + 1'000, length - 2'000, "item ");
    add(Kind::REPEATER, 1, time + 2'000, length / 2, "repeater ");
    for (std::uint32_t thread = 2; thread < 9; ++thread)
      if (random() % 2 == 0) add(Kind::QUEUE_ITEM, thread, time, length, "queue ");
  }
  return recording;
}

class SpanItem : public QGraphicsRectItem {
 public:
  SpanItem(const QRectF& area, const QColor& colour, QString name)
      : QGraphicsRectItem(area), m_colour(colour), m_name(std::move(name)) {}
  void paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) override {
    painter->fillRect(rect(), m_colour);
    const QTransform transform = painter->transform();
    const QRectF seen = transform.mapRect(rect());
    if (seen.width() < 40) return;
    painter->setTransform({});
    painter->drawText(seen, Qt::AlignVCenter, m_name);
    painter->setTransform(transform);
  }

 private:
  const QColor m_colour;
  const QString m_name;
};

struct GraphicsView {
  GraphicsView() {
    view.setScene(&scene);
    view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setTransformationAnchor(QGraphicsView::NoAnchor);
    const TimelineLanes lanes(recording());
    double top = 0;
    for (const TimelineLanes::Lane& lane : lanes.lanes())
      for (const TimelineLanes::Row& row : lane.rows) {
        for (const TimelineLanes::Span& span : row) {
          const TimelineLanes::Name& name = lanes.nameOf(span);
          scene.addItem(new SpanItem(QRectF(static_cast<double>(span.start - lanes.begin()) / 1e6, top,
                                            static_cast<double>(span.duration()) / 1e6, ROW - 1),
                                     colourOf(name.kind, view.palette()), titleOf(name)));
        }
        top += ROW;
      }
    all = static_cast<double>(lanes.end() - lanes.begin());
  }
  QAbstractScrollArea& widget() { return view; }
  void setLength(double nsec) { view.setTransform(QTransform::fromScale(view.viewport()->width() / (nsec / 1e6), 1)); }

  QGraphicsScene scene;
  QGraphicsView view;
  double all = 0;
};

struct OwnView {
  OwnView() {
    const auto lanes = std::make_shared<TimelineLanes>(recording());
    all = static_cast<double>(lanes->end() - lanes->begin());
    view.setLanes(lanes);
  }
  QAbstractScrollArea& widget() { return view; }
  void setLength(double nsec) { view.setLength(nsec, 0); }

  TimelineView view;
  double all = 0;
};

// The median of the frames is a counter of its own.
template <class View, class Step>
void frames(benchmark::State& state, View& view, Step step) {
  std::vector<double> times;
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    step();
    view.widget().viewport()->update();
    QApplication::processEvents();
    times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count());
  }
  std::ranges::nth_element(times, times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2));
  state.counters["median_ms"] = times[times.size() / 2];
}

template <class View>
void drag(benchmark::State& state) {
  const Application application;
  View view;
  view.widget().resize(SIZE);
  view.widget().show();
  view.setLength(view.all / static_cast<double>(state.range(0)));
  QApplication::processEvents();
  QScrollBar& bar = *view.widget().horizontalScrollBar();
  bar.setValue(bar.minimum());
  int step = std::max(1, bar.pageStep() / 97);
  frames(state, view, [&] {
    if (bar.value() == (step > 0 ? bar.maximum() : bar.minimum())) step = -step;
    bar.setValue(bar.value() + step);
  });
}

template <class View>
void zoom(benchmark::State& state) {
  const Application application;
  View view;
  view.widget().resize(SIZE);
  view.widget().show();
  int frame = 0;
  frames(state, view, [&] { view.setLength(view.all / std::pow(1.25, frame++ % 40)); });
}

void arrange(benchmark::State& state) {
  const Recording all = recording();
  for (auto _ : state) benchmark::DoNotOptimize(TimelineLanes(all));
}

const bool isRegistered = [] {
  const auto add = [](const std::string& name, auto function) {
    return benchmark::RegisterBenchmark(name.c_str(), function)->Unit(benchmark::kMicrosecond);
  };
  for (const auto& [part, text] : {std::pair(1, "all"), {30, "a 30th"}, {1000, "a 1000th"}}) {
    add(std::string("timeline.drag, ") + text + "/Corvane TimelineView", drag<OwnView>)->Arg(part);
    add(std::string("timeline.drag, ") + text + "/QGraphicsView", drag<GraphicsView>)->Arg(part);
  }
  add("timeline.zoom/Corvane TimelineView", zoom<OwnView>);
  add("timeline.zoom/QGraphicsView", zoom<GraphicsView>);
  add("timeline.arrange/Corvane TimelineLanes", arrange);
  return true;
}();

}  // namespace
