#include "TeaWindow.h"

#include <QApplication>
#include <QFormLayout>
#include <QMenu>
#include <QMenuBar>
#include <QVBoxLayout>

#include "corvane/infra/settings/DefaultSettings.h"
#include "corvane/ui/HelpViewer.h"
#include "corvane/ui/NumberStepper.h"
#include "corvane/ui/RepeaterStatsWindow.h"

using corvane::Defaults;

namespace {

std::int64_t minutes() {
  return Defaults.loadInteger("minutes", 3);
}

}  // namespace

TeaWindow::TeaWindow()
    : m_time(new QLabel(this)),
      m_start(new QPushButton(this)),
      m_minutes(new QPushButton(tr("&Minutes…"), this)),
      m_popover(tr("Minutes"), minutesView()) {
  auto* const content = new QWidget(this);
  auto* const layout = new QVBoxLayout(content);
  layout->addWidget(m_time);
  layout->addWidget(m_start);
  layout->addWidget(m_minutes);
  setCentralWidget(content);
  m_time->setAlignment(Qt::AlignCenter);
  QFont large = m_time->font();
  large.setPointSizeF(large.pointSizeF() * 4);
  m_time->setFont(large);
  m_start->setAutoDefault(true);  // Return presses it
  m_start->setFocus();
  connect(m_start, &QPushButton::clicked, this, [this] { m_countdown->running() ? stop() : start(); });
  connect(m_minutes, &QPushButton::clicked, this, [this] { m_popover.displayView(m_minutes, {}, Qt::BottomEdge); });
  addMenu();

  setWindowTitle(tr("Tea Timer"));
  resize(280, 220);                   // the first time; from then on
  setFrameAutosaveName("Tea Timer");  // where it was closed
  stop();
}

TeaWindow::~TeaWindow() {
  m_countdown->stop();
}

void TeaWindow::addMenu() {
  QMenu* const tea = menuBar()->addMenu(tr("&Tea"));
  tea->addAction(tr("&Statistics"), QKeySequence("Ctrl+T"), [] { corvane::RepeaterStatsWindow::show(); });
  tea->addAction(tr("&Quit"), QKeySequence::Quit, [] { QApplication::closeAllWindows(); });
  QMenu* const help = menuBar()->addMenu(tr("&Help"));
  help->addAction(tr("Tea Timer Help"), QKeySequence::HelpContents, [] { corvane::HelpViewer::openPage("index"); });
}

// What the bubble shows. It belongs to that.
QWidget* TeaWindow::minutesView() {
  auto* const view = new QWidget;
  auto* const host = new QWidget;
  auto* const stepper = new corvane::NumberStepper(host, 1, 60, 1, minutes());
  auto* const form = new QFormLayout(view);
  form->addRow(tr("The tea takes"), host);
  stepper->setAccessibleName(tr("Minutes"));
  connect(stepper, &corvane::NumberStepper::valueChanged, this, [this](qlonglong value) {
    Defaults.saveInteger("minutes", value);
    if (!m_countdown->running()) showTime(value * 60);
  });
  return view;
}

void TeaWindow::start() {
  m_ready = corvane::Timeval() + corvane::Timeval::sec(minutes() * 60);
  m_start->setText(tr("&Stop"));
  m_countdown->start(0.2, [this] { tick(); });
}

void TeaWindow::stop() {
  m_countdown->stop();
  m_start->setText(tr("&Start"));
  showTime(minutes() * 60);
}

void TeaWindow::tick() {
  const std::int64_t left = (m_ready - corvane::Timeval()).msec();
  if (left > 0) return showTime((left + 999) / 1000);
  stop();
  m_time->setText(tr("Tea!"));
  QApplication::alert(this);  // in the desktop's way, if the window is not in front
}

void TeaWindow::showTime(std::int64_t seconds) {
  m_time->setText(QString("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QChar('0')));
}
