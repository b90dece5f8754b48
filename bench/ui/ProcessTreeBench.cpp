// The tree of 2,000 processes: frames a second while it is dragged and zoomed, and the time that new processes take.
// Beside a QGraphicsView with an item for each box and each connector.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QGraphicsItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <limits>
#include <random>
#include <unordered_map>

#include "apps/inspector/svg/ProcessTree.h"
#include "apps/inspector/svg/TreeBoxes.h"
#include "apps/inspector/window/ProcessTreeView.h"

namespace {

using namespace corvane::inspector;

constexpr int COUNT = 2'000;
constexpr QSize SIZE(1'000, 700);

class Application {
 public:
  Application() { QApplication::setStyle("Fusion"); }

 private:
  int m_argc = 1;
  char m_name[6] = "bench";
  char* m_argv[2] = {m_name, nullptr};
  const QApplication m_application{(qputenv("QT_QPA_PLATFORM", "offscreen"), m_argc), m_argv};
};

// Most processes are started by a few others.
std::vector<ProcessRow> processes() {
  std::mt19937 random(1);
  std::vector<ProcessRow> rows;
  for (int i = 1; i <= COUNT; ++i) {
    ProcessRow row;
    row.pid = i;
    row.parent = i == 1 ? 0 : static_cast<pid_t>(1 + random() % static_cast<unsigned>(std::min(i - 1, 60)));
    row.kind = ProcessKind::NATIVE;
    row.name = "process-" + std::to_string(random() % 100);
    row.processor = static_cast<double>(random() % 3);
    row.started = i;
    rows.push_back(std::move(row));
  }
  return rows;
}

class BoxItem : public QGraphicsItem {
 public:
  explicit BoxItem(const TreeBoxes::Box& box)
      : m_area(box.left, box.middle - TreeBoxes::BOX / 2, box.width, TreeBoxes::BOX),
        m_label(QString::fromStdString(box.label)) {}
  QRectF boundingRect() const override { return m_area.adjusted(-1, -1, 1, 1); }
  void paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) override {
    painter->setPen(Qt::gray);
    painter->setBrush(Qt::white);
    painter->drawRoundedRect(m_area, 4, 4);
    painter->setPen(Qt::black);
    painter->drawText(m_area, Qt::AlignCenter | Qt::TextSingleLine, m_label);
  }

 private:
  const QRectF m_area;
  const QString m_label;
};

struct GraphicsView {
  GraphicsView() {
    view.setScene(&scene);
    view.setRenderHint(QPainter::Antialiasing);
    const auto tree = processTree(processes(), std::numeric_limits<std::size_t>::max());
    const QFontMetricsF metrics(QApplication::font());
    const TreeBoxes boxes(
        *tree, 0, [&](const std::string& text) { return metrics.horizontalAdvance(QString::fromStdString(text)); });
    std::unordered_map<const SvgTree::Tree*, const TreeBoxes::Box*> places;
    for (const TreeBoxes::Box& box : boxes.boxes) {
      places[box.node] = &box;
      scene.addItem(new BoxItem(box));
      const auto above = places.find(box.node->parent().get());
      if (above == places.end()) continue;
      QPainterPath path(QPointF(above->second->left + above->second->width, above->second->middle));
      const double bend = box.left - TreeBoxes::GAP / 2;
      path.lineTo(box.left - TreeBoxes::GAP, above->second->middle);
      path.cubicTo(bend, above->second->middle, bend, box.middle, box.left, box.middle);
      scene.addPath(path);
    }
  }
  void setZoom(double zoom) { view.setTransform(QTransform::fromScale(zoom, zoom)); }

  QGraphicsScene scene;
  QGraphicsView view;
};

struct OwnView {
  OwnView() { view.setRows(processes()); }
  void setZoom(double zoom) { view.setZoom(zoom, QPointF()); }

  ProcessTreeView view;
};

template <class View>
void drag(benchmark::State& state, double zoom) {
  const Application application;
  View view;
  view.view.resize(SIZE);
  view.view.show();
  view.setZoom(zoom);
  QScrollBar* const bar = view.view.verticalScrollBar();
  bar->setValue(bar->minimum());
  QApplication::processEvents();
  int step = 11;
  for (auto _ : state) {
    if (bar->value() == (step > 0 ? bar->maximum() : bar->minimum())) step = -step;
    bar->setValue(bar->value() + step);
    QApplication::processEvents();
  }
  state.SetItemsProcessed(state.iterations());
}

template <class View>
void zoom(benchmark::State& state) {
  const Application application;
  View view;
  view.view.resize(SIZE);
  view.view.show();
  int frame = 0;
  for (auto _ : state) {
    view.setZoom(0.1 + 0.01 * (frame++ % 120));
    QApplication::processEvents();
  }
  state.SetItemsProcessed(state.iterations());
}

void refresh(benchmark::State& state) {
  const Application application;
  OwnView view;
  view.view.resize(SIZE);
  view.view.show();
  const auto rows = processes();
  for (auto _ : state) {
    view.view.setRows(rows);
    QApplication::processEvents();
  }
}

const bool isRegistered = [] {
  const auto add = [](const char* name, auto function) {
    benchmark::RegisterBenchmark(name, function)->Unit(benchmark::kMicrosecond);
  };
  add("process tree.drag/Corvane ProcessTreeView", [](benchmark::State& state) { drag<OwnView>(state, 1); });
  add("process tree.drag/QGraphicsView", [](benchmark::State& state) { drag<GraphicsView>(state, 1); });
  add("process tree.drag at 0.2/Corvane ProcessTreeView", [](benchmark::State& state) { drag<OwnView>(state, 0.2); });
  add("process tree.drag at 0.2/QGraphicsView", [](benchmark::State& state) { drag<GraphicsView>(state, 0.2); });
  add("process tree.zoom/Corvane ProcessTreeView", zoom<OwnView>);
  add("process tree.zoom/QGraphicsView", zoom<GraphicsView>);
  add("process tree.new processes/Corvane ProcessTreeView", refresh);
  return true;
}();

}  // namespace
