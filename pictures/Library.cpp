// Pictures of the library's own windows and controls.
#include <QApplication>
#include <QContextMenuEvent>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGraphicsLineItem>
#include <QGraphicsView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QStyle>
#include <QTest>
#include <QTime>
#include <QUrl>
#include <cmath>

#include "corvane/core/MasterTimer.h"
#include "corvane/testing/FakePlatform.h"
#include "corvane/testing/ManualClock.h"
#include "corvane/ui/Desktop.h"
#include "corvane/ui/HelpViewer.h"
#include "corvane/ui/NumberStepper.h"
#include "corvane/ui/Popover.h"
#include "corvane/ui/RepeaterStatsWindow.h"
#include "corvane/ui/RowModel.h"
#include "corvane/ui/TableView.h"
#include "corvane/ui/URLButton.h"
#include "pictures/Pictures.h"
#include "tests/support/InfoPlist.h"

namespace corvane {
namespace {

QWidget* shown(QWidget* window) {
  window->show();
  return window;
}

// selectRow() selects nothing right-to-left before the columns have been laid out.
void selectRow(TableView& table, int row) {
  table.selectionModel()->setCurrentIndex(table.model()->index(row, 0),
                                          QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

QWidget* steppers() {
  auto* const window = new QWidget;
  auto* const form = new QFormLayout(window);
  const auto add = [&](const QString& label, std::int64_t value, ControlSize size) {
    auto* const host = new QWidget(window);
    form->addRow(label, host);
    return new NumberStepper(host, 1, 1'000'000, 1, value, size);
  };
  add("Large", 15, ControlSize::LARGE);
  add("Regular", 13, ControlSize::REGULAR);
  add("Small", 11, ControlSize::SMALL);
  add("Mini", 9, ControlSize::MINI);
  add("Smallest value", 1, ControlSize::REGULAR);
  add("Largest value", 1'000'000, ControlSize::REGULAR);
  add("Disabled", 13, ControlSize::REGULAR)->setEnabled(false);
  return shown(window);
}

// Repeaters of an application that has run for a minute, each busy for as long as it says.
struct Work {
  const char* name;
  double interval;  // seconds
  std::int64_t usecs;
};

QWidget* statistics() {
  static const std::vector<Work> WORK = {
      {"autosave", 30, 41'250},   {"clock", 1, 35},         {"cpu load", 0.5, 410},    {"disk space", 10, 2'870},
      {"frame counter", 0.1, 12}, {"icon cache", 5, 96},    {"memory", 1, 230},        {"network", 0.5, 655},
      {"processes", 2, 7'480},    {"progress", 0.2, 58},    {"sensors", 2, 12'900},    {"spelling", 4, 3'300},
      {"thumbnails", 0.5, 1'420}, {"undo history", 15, 18}, {"update check", 20, 880}, {"window titles", 1, 7},
  };
  static ManualClock clock(Timeval::sec(1'000'000));
  static const FakePlatform platform;
  static std::vector<std::shared_ptr<Repeater>> repeaters;
  MasterTimer::instance()->start();
  for (const Work& work : WORK) {
    repeaters.push_back(std::make_shared<Repeater>(work.name));
    repeaters.back()->start(work.interval, [&work] { clock.advance(Timeval::usec(work.usecs)); });
  }
  RepeaterStatsWindow::show();
  for (int step = 0; step < 600; ++step) {
    clock.advance(Timeval::usec(100'000));
    QTest::qWait(2);
  }
  auto& window = *RepeaterStatsWindow::shared()->window();
  auto& table = *window.findChild<TableView*>();
  table.sortByColumn(4, Qt::DescendingOrder);
  selectRow(table, 2);
  return &window;
}

struct Item {
  QString name;
  int size = 0;
};
struct NameOf {
  const QString& operator()(const Item& item) const { return item.name; }
};

TableView* table(int count) {
  auto* const view = new TableView;
  const auto icon = [view](const Item& item, int role) {
    const auto kind = item.name.contains('.') ? QStyle::SP_FileIcon : QStyle::SP_DirIcon;
    return role == Qt::DecorationRole ? QVariant(view->style()->standardIcon(kind)) : QVariant();
  };
  auto* const model =
      new RowModel<Item, NameOf>({{"name", "Name", [](const Item& item) { return item.name; },
                                   [](const Item& a, const Item& b) { return a.name < b.name; }, false, icon},
                                  {"size", "Size", [](const Item& item) { return QLocale().toString(item.size); },
                                   [](const Item& a, const Item& b) { return a.size < b.size; }, true},
                                  {"note", "Note", [](const Item& item) { return item.size % 2 ? "odd" : "even"; }}},
                                 view);
  view->setModel(model);
  view->sortByColumn(0, Qt::AscendingOrder);
  view->setPlaceholderText("There are no files in this folder.");
  view->resize(480, 260);
  std::vector<Item> items;
  for (int i = 0; i < count; ++i)
    items.push_back({(i % 3 ? QString("letter %1.odt") : QString("folder %1")).arg(i), i * 7919});
  model->setRows(std::move(items));
  view->show();
  return view;
}

QWidget* tableOfFiles() {
  TableView* const view = table(40);
  selectRow(*view, 3);
  view->setFocus();
  return view;
}

// The menu that a table shows; it is taken alone.
QWidget* tableMenu() {
  TableView* const view = table(40);
  selectRow(*view, 3);
  view->addAction("Open");
  QContextMenuEvent event(QContextMenuEvent::Keyboard, {5, 5}, {5, 5});
  QCoreApplication::sendEvent(view->viewport(), &event);
  return view->findChild<QMenu*>();
}

QWidget* buttons() {
  auto* const window = new QWidget;
  auto* const column = new QVBoxLayout(window);
  column->addWidget(new URLButton("Corvane on the web", QUrl("https://example.org/"), window));
  auto* const disabled = new URLButton("A link that leads nowhere now", {}, window);
  disabled->setEnabled(false);
  column->addWidget(disabled);
  return shown(window);
}

QWidget* details() {
  auto* const content = new QWidget;
  auto* const form = new QFormLayout(content);
  form->addRow("Name", new QLineEdit("report.odt"));
  form->addRow("Size", new QLabel("48 KB"));
  form->addRow("Changed", new QLabel("Yesterday, 16:20"));
  form->addRow(new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel));
  return content;
}

Popover* popover(Qt::Edge edge) {
  auto* const window = new QWidget;
  window->setGeometry(300, 300, 80, 30);
  window->show();
  auto* const popover = new Popover("Details", details(), true, window);
  popover->displayView(window, {}, edge);
  return popover;
}

QWidget* bubble(Qt::Edge edge) {
  return popover(edge)->viewController()->window();
}

QWidget* detached() {
  const Popover* const dragged = popover(Qt::BottomEdge);
  QWidget* const frame = dragged->viewController()->window();
  QTest::mousePress(frame, Qt::LeftButton, {}, {20, 14});
  QMouseEvent move(QEvent::MouseMove, QPointF(90, 90), frame->mapToGlobal(QPointF(90, 90)), Qt::NoButton,
                   Qt::LeftButton, {});
  QCoreApplication::sendEvent(frame, &move);
  QTest::mouseRelease(frame, Qt::LeftButton, {}, {20, 14});
  return dragged->viewController()->window();
}

// A curve over a gradient.
struct Graph : QWidget {
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPolygonF curve;
    for (double x = 0; x <= 1; x += 0.002)
      curve << QPointF(x * width(), height() * (0.7 - 0.2 * std::sin(9 * x) * std::sin(31 * x)));
    const QPolygonF area = curve + QPolygonF({QPointF(width(), height()), QPointF(0, height())});
    QLinearGradient gradient(0, height() * 0.5, 0, height());
    gradient.setColorAt(0, QColor(90, 170, 240, 160));
    gradient.setColorAt(1, QColor(90, 170, 240, 0));
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawPolygon(area);
    painter.setPen(QPen(QColor(150, 210, 255), 3));
    painter.drawPolyline(curve);
  }
};

// A desktop with a panel, whose picture are a graph, a scene and a text that lie one over the other.
QWidget* desktop() {
  constexpr QRect SCREEN(0, 0, 960, 540), FREE(0, 0, 960, 510);
  FakePlatform platform;
  platform.bundles->main.info = infoPlist(Value::Dictionary{{"CFBundleIdentifier", "org.example.Clock"}});
  Graph graph;
  QGraphicsScene scene;
  for (int i = 0; i < 60; ++i)
    scene.addLine(0, -230, 0, i % 5 ? -222 : -210, QPen(QColor(255, 255, 255, 150), 2))->setRotation(i * 6);
  QGraphicsView dial(&scene);
  dial.setStyleSheet("background: transparent; border: none");
  dial.setRenderHint(QPainter::Antialiasing);
  QLabel time(QLocale().toString(QTime(10, 9), QLocale::ShortFormat));
  time.setAlignment(Qt::AlignCenter);
  time.setStyleSheet("color: white; font-size: 80px");
  Desktop composer;
  composer.setFill(Desktop::FillStyle::SCREEN_FILL, QColor(20, 40, 80));
  auto* const screen = new QLabel;
  screen->setFixedSize(SCREEN.size());
  screen->setPixmap(QPixmap::fromImage(composer.makeImage({&graph, nullptr, &dial, &time}, SCREEN, FREE)));
  return shown(screen);
}

QWidget* tableWithoutRows() {
  return table(0);
}

// Of the guide's example. With the web engine, if it is installed.
QWidget* help(const QString& search) {
  qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");  // root may take pictures, too
  static const BundleFiles library = corvane::platform().bundles().libraryBundle();
  static const FakePlatform platform;
  platform.bundles->main.resources = HELP_RESOURCES;
  platform.bundles->library = library;
  HelpViewer::openPage("index");
  auto* const window = HelpViewer::shared()->window();
  QTest::qWait(3000);
  auto* const field = window->findChild<QLineEdit*>("search");
  field->setText(search);
  QTest::keyClick(field, Qt::Key_Return);
  QTest::qWait(search.isEmpty() ? 0 : 2000);
  return window;
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
  using namespace corvane;
  return takePictures(argc, argv,
                      {{"stepper", steppers},
                       {"buttons", buttons},
                       {"table", tableOfFiles},
                       {"table-menu", tableMenu},
                       {"table-empty", tableWithoutRows},
                       {"popover-below", [] { return bubble(Qt::BottomEdge); }},
                       {"popover-above", [] { return bubble(Qt::TopEdge); }},
                       {"popover-left", [] { return bubble(Qt::LeftEdge); }},
                       {"popover-right", [] { return bubble(Qt::RightEdge); }},
                       {"popover-detached", detached},
                       {"desktop", desktop},
                       {"help", [] { return help({}); }},
                       {"help-search", [] { return help("file"); }},
                       {"statistics", statistics}});
}
