// Pictures of the Inspector's window, one for each page.
#include <QAction>
#include <QApplication>
#include <QTemporaryDir>
#include <QTest>

#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/window/MainWindow.h"
#include "apps/inspector/window/Pages.h"
#include "apps/inspector/window/ProcessPage.h"
#include "apps/inspector/window/TimelinePage.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/infra/settings/DefaultSettings.h"
#include "pictures/InventedSource.h"
#include "pictures/Pictures.h"
#include "tests/support/SlowProgram.h"

namespace corvane::inspector {

namespace {

constexpr int SETTLED = 1200;  // ms: pages that read something on a queue have shown it

QWidget* open(const char* page) {
  static InventedSource source(QDir::homePath().toStdString());
  MasterTimer::instance()->start();
  Defaults.removeAll();  // what the one before has stored
  auto* const window = new MainWindow(source, page);
  window->resize(1080, 720);
  window->show();
  QTest::qWait(SETTLED);
  return window;
}

// The page of processes after one of its actions.
QWidget* openProcesses(Qt::Key key) {
  QWidget* const window = open("processes");
  auto* const page = window->findChild<ProcessPage*>();
  auto* const table = page->findChild<TableView*>();
  table->setCurrentIndex(table->model()->index(2, 0));
  for (QAction* const action : page->actions())
    if (action->shortcut() == QKeySequence(Qt::CTRL | key)) action->trigger();
  return window;
}

// Selects the longest span of a name, with so many nanoseconds around it.
void selectLongest(TimelineView& view, const char* name, double length) {
  const auto& names = view.lanes().names();
  const auto found = std::ranges::find(names, name, &TimelineLanes::Name::name);
  view.setLength(length, 0);
  view.select(view.lanes().longest(static_cast<std::uint32_t>(found - names.begin())));
}

// The page of the timeline with a recording, in which a span is selected.
QWidget* openTimeline() {
  QWidget* const window = open("timeline");
  auto* const page = window->findChild<TimelinePage*>();
  for (QAction* const action : page->actions())
    if (action->shortcut() == QKeySequence(Qt::Key_F5)) action->trigger();
  QTest::qWait(SETTLED);
  auto* const view = page->findChild<TimelineView*>();
  selectLongest(*view, "export", 9e9);
  return window;
}

// The slow program of the guide, as it is. It ends when the page shows it.
QWidget* openSlow(const char* page) {
  static LocalSource source("");
  const SlowProgram slow;
  if (!QTest::qWaitFor([&] { return slow.isServing(); })) qFatal("the slow program does not start");
  MasterTimer::instance()->start();
  Defaults.removeAll();
  auto* const window = new MainWindow(source, page);
  window->resize(1000, 560);
  window->show();
  window->attach("slow-timer");
  QTest::qWait(6000);
  if (auto* const timeline = window->findChild<TimelinePage*>()) {
    timeline->findChild<NumberStepper*>()->setIntegerValue(3);
    for (QAction* const action : timeline->actions())
      if (action->shortcut() == QKeySequence(Qt::Key_F5)) action->trigger();
    QTest::qWait(SETTLED);
    auto* const view = timeline->findChild<TimelineView*>();
    selectLongest(*view, "redraw thumbnails", 0.55e9);
  }
  return window;
}

QWidget* openDetails() {
  openProcesses(Qt::Key_I);
  return QApplication::activePopupWidget();
}

}  // namespace

}  // namespace corvane::inspector

int main(int argc, char** argv) {
  using namespace corvane;
  const QTemporaryDir home;  // settings and log
  qputenv("HOME", home.path().toUtf8());
  qputenv("XDG_RUNTIME_DIR", home.path().toUtf8());
  std::vector<Picture> pictures;
  std::vector<std::string> names;
  for (const auto& kind : inspector::pageKinds()) names.push_back(std::string("inspector-") + kind.id);
  for (std::size_t i = 0; i < names.size(); ++i)
    pictures.push_back({names[i].c_str(), [i] { return inspector::open(inspector::pageKinds()[i].id); }});
  pictures.push_back({"inspector-tree", [] { return inspector::openProcesses(Qt::Key_T); }});
  pictures.push_back({"inspector-recording", inspector::openTimeline});
  pictures.push_back({"diagnostics-queues", [] { return inspector::openSlow("queues"); }});
  pictures.push_back({"diagnostics-timeline", [] { return inspector::openSlow("timeline"); }});
  pictures.push_back({"inspector-details", inspector::openDetails});
  return takePictures(argc, argv, pictures, "corvane-inspector-window");
}
