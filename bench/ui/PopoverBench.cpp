// The first frame of a popover: made, shown and painted, with the same two lines of text as the QMenu beside it.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QVBoxLayout>
#include <QWidgetAction>

#include "corvane/ui/Popover.h"

namespace {

class Painted : public QObject {
 public:
  bool eventFilter(QObject*, QEvent* event) override {
    m_is = m_is || event->type() == QEvent::Paint;
    return false;
  }
  void wait() {
    while (!m_is) QApplication::processEvents();
  }

 private:
  bool m_is = false;
};

QWidget* content() {
  auto* const widget = new QWidget;
  auto* const column = new QVBoxLayout(widget);
  column->addWidget(new QLabel("report.odt"));
  column->addWidget(new QLabel("48 KB, changed yesterday"));
  return widget;
}

// Calls `show` with an anchor that is on the screen; it waits for the first frame of what it shows.
template <class Show>
void measure(benchmark::State& state, Show&& show) {
  int count = 1;
  char name[] = "bench";
  char* arguments[] = {name, nullptr};
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication application(count, arguments);
  QApplication::setStyle("Fusion");
  QWidget anchor;
  anchor.setGeometry(300, 300, 80, 30);
  anchor.show();
  QApplication::processEvents();
  for (auto _ : state) {
    const auto shown = show(anchor);
    state.PauseTiming();
    shown->close();
    delete shown;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    state.ResumeTiming();
  }
}

void popover(benchmark::State& state) {
  measure(state, [](QWidget& anchor) {
    Painted painted;
    auto* const popover = new corvane::Popover("Details", content());
    popover->viewController()->installEventFilter(&painted);
    popover->displayView(&anchor, {}, Qt::BottomEdge);
    painted.wait();
    return popover;
  });
}
BENCHMARK(popover)->Name("popover/Corvane Popover");

void menu(benchmark::State& state) {
  measure(state, [](QWidget& anchor) {
    Painted painted;
    auto* const menu = new QMenu;
    auto* const action = new QWidgetAction(menu);
    QWidget* const widget = content();
    action->setDefaultWidget(widget);
    menu->addAction(action);
    widget->installEventFilter(&painted);
    menu->popup(anchor.mapToGlobal(anchor.rect().bottomLeft()));
    painted.wait();
    return menu;
  });
}
BENCHMARK(menu)->Name("popover/QMenu");

}  // namespace
