#include "corvane/ui/RepeaterStatsWindow.h"

#include <QEvent>
#include <QHeaderView>
#include <QShortcut>
#include <utility>

#include "corvane/core/Checked.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/infra/settings/DefaultSettings.h"
#include "corvane/ui/MainThread.h"
#include "corvane/ui/TableView.h"
#include "ui_RepeaterStats.h"

namespace corvane {

namespace {

constexpr const char* TIMER = "org.corvane.repeater.stats";
constexpr const char* AVERAGE_INTERVAL = "REPEATER_average_interval";
constexpr std::int64_t DEFAULT_INTERVAL = 10;  // seconds
constexpr int NAME_WIDTH = 40;                 // characters
constexpr double USECS = 1e6;                  // in a second

std::shared_ptr<RepeaterStatsWindow>& sharedWindow() {
  static auto& shared = *new std::shared_ptr<RepeaterStatsWindow>;  // outlives the application object
  return shared;
}

// The order by a number in the statistics.
template <class Number>
auto byNumber(Number number) {
  return [number](const auto& a, const auto& b) { return number(a) < number(b); };
}

}  // namespace

void RepeaterStatsWindow::show() {
  requireMainThread("RepeaterStatsWindow.show");
  const std::shared_ptr<RepeaterStatsWindow> controller(new RepeaterStatsWindow);
  controller->windowDidLoad();
  controller->m_window->show();
}

std::shared_ptr<RepeaterStatsWindow> RepeaterStatsWindow::shared() {
  return sharedWindow();
}

void RepeaterStatsWindow::setShared(std::shared_ptr<RepeaterStatsWindow> window) {
  sharedWindow().swap(window);
}

RepeaterStatsWindow::RepeaterStatsWindow() : m_stats(columns()), m_timer(std::make_shared<Repeater>(TIMER)) {
  m_locale.setNumberOptions(QLocale::OmitGroupSeparator);
}

RepeaterStatsWindow::~RepeaterStatsWindow() = default;

std::vector<RowColumn<Repeater::repeater_stats>> RepeaterStatsWindow::columns() const {
  const auto count = [](const Stats& stats) { return stats.count; };
  const auto elapsed = [](const Stats& stats) { return stats.total_elapsed; };
  const auto interval = [](const Stats& stats) { return stats.interval_stats.smoothed; };
  const auto usecs = [](const Stats& stats) { return stats.elapsed_stats.smoothed; };
  const auto seconds = [this](double microseconds) { return m_locale.toString(microseconds / USECS, 'f', 3); };
  const auto whole = [this](std::int64_t number) { return m_locale.toString(qlonglong{number}); };
  return {
      {"ident", tr("Repeater"), [](const Stats& stats) { return QString::fromStdString(stats.name); },
       [](const Stats& a, const Stats& b) { return a.name < b.name; }},
      {"count", tr("Runs"), [=](const Stats& stats) { return whole(count(stats)); }, byNumber(count), true},
      {"elapsed", tr("Total time (s)"), [=](const Stats& stats) { return seconds(elapsed(stats)); }, byNumber(elapsed),
       true},
      {"interval", tr("Interval (s)"), [=](const Stats& stats) { return seconds(interval(stats)); }, byNumber(interval),
       true},
      {"usecs", tr("Run time (µs)"), [=](const Stats& stats) { return whole(checkedInt64(usecs(stats))); },
       byNumber(usecs), true},
  };
}

void RepeaterStatsWindow::windowDidLoad() {
  const bool isOnlyOne = !shared();
  setShared(shared_from_this());
  m_window = new ScreenWindow;
  m_window->setAttribute(Qt::WA_DeleteOnClose);
  m_window->installEventFilter(this);
  connect(m_window, &QObject::destroyed, this, &RepeaterStatsWindow::windowWillClose);
  Ui::RepeaterStats interface;
  interface.setupUi(m_window);
  if (isOnlyOne) m_window->setFrameAutosaveName("RepeaterStats");  // not on top of the other one
  connect(new QShortcut(QKeySequence::Close, m_window), &QShortcut::activated, m_window, &QWidget::close);
  connect(interface.reset, &QPushButton::clicked, this, &RepeaterStatsWindow::resetStats);

  m_table = interface.table;
  m_table->setModel(&m_stats);
  m_table->setColumnWidth(0, m_table->fontMetrics().averageCharWidth() * NAME_WIDTH);
  m_table->sortByColumn(m_stats.columnOf("ident"), Qt::AscendingOrder);
  connect(m_table->horizontalHeader(), &QHeaderView::sortIndicatorChanged, this, &RepeaterStatsWindow::reload);

  m_average_interval = new NumberStepper(interface.ph_average_interval, 1, 60, 1, DEFAULT_INTERVAL, ControlSize::SMALL);
  m_average_interval->setIntegerValue(Defaults.loadInteger(AVERAGE_INTERVAL, DEFAULT_INTERVAL));
  m_average_interval->setDelegate(shared_from_this());
  interface.average->setBuddy(m_average_interval->view());
  QWidget::setTabOrder(m_table, m_average_interval->view());
  QWidget::setTabOrder(m_average_interval->view(), interface.reset);

  MasterTimer::instance()->setTimeConstant(static_cast<double>(m_average_interval->integerValue()));
  m_timer->start(1.0, [self = shared_from_this()] { self->refresh(); });
  refresh();
}

void RepeaterStatsWindow::windowWillClose() {
  if (!m_timer) return;
  m_timer->stop();
  const auto task = std::exchange(m_timer, nullptr);  // may hold the last reference to this
  m_window = nullptr;
  setShared(nullptr);
}

void RepeaterStatsWindow::refresh() {
  m_latest = MasterTimer::instance()->repeaterStats();
  reload();
}

void RepeaterStatsWindow::reload() {
  if (!m_latest || !m_window || !m_window->isVisible() || m_window->isMinimized()) return;
  if (m_table->horizontalHeader()->sortIndicatorSection() < 0) return;
  m_stats.setRows(*std::exchange(m_latest, std::nullopt));
}

void RepeaterStatsWindow::resetStats() {
  MasterTimer::instance()->resetStats();
  refresh();
}

void RepeaterStatsWindow::numberStepperValueChanged(NumberStepper& stepper) {
  if (&stepper != m_average_interval) return;
  MasterTimer::instance()->setTimeConstant(static_cast<double>(stepper.integerValue()));
  Defaults.saveInteger(AVERAGE_INTERVAL, stepper.integerValue());
}

bool RepeaterStatsWindow::eventFilter(QObject* object, QEvent* event) {
  const auto self = weak_from_this().lock();  // closing may release the last reference
  if (event->type() == QEvent::Close)
    windowWillClose();
  else if (event->type() == QEvent::ShowToParent || event->type() == QEvent::WindowStateChange)
    reload();
  return QObject::eventFilter(object, event);
}

}  // namespace corvane
