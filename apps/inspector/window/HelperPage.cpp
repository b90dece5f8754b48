#include "apps/inspector/window/HelperPage.h"

#include <QAction>
#include <QProgressBar>

#include "apps/inspector/model/ProcessFigures.h"
#include "apps/inspector/window/Background.h"
#include "corvane/platform/Platform.h"
#include "corvane/system/helper/helper_c.h"

namespace corvane::inspector {

namespace {

constexpr int TEXT_WIDTH = 70;  // characters: longer lines are hard to read

QLabel* paragraph(const QString& text) {
  auto* const label = new QLabel(text);
  label->setWordWrap(true);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  return label;
}

}  // namespace

HelperPage::HelperPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_install(newAction(this, tr("&Install…"))),
      m_remove(newAction(this, tr("&Remove…"))),
      m_state(paragraph(tr("Looking for the helper…"))),
      m_busy(new QProgressBar),
      m_message(new MessageBar) {
  QFont large = m_state->font();
  large.setPointSizeF(large.pointSizeF() * 1.3);
  large.setBold(true);
  m_state->setFont(large);
  m_busy->setRange(0, 0);
  m_busy->setTextVisible(false);
  m_busy->setFixedWidth(fontMetrics().averageCharWidth() * 16);
  m_busy->setAccessibleName(tr("Waiting for an administrator"));
  QVBoxLayout* const layout = pageLayout(this);
  layout->addWidget(m_message);
  auto* const column = new QWidget;
  column->setMaximumWidth(fontMetrics().averageCharWidth() * TEXT_WIDTH);
  auto* const body = new QVBoxLayout(column);
  const int space = fontMetrics().height();
  body->setContentsMargins(2 * space, 2 * space, 2 * space, space);
  body->setSpacing(space);
  body->addWidget(m_state);
  body->addWidget(paragraph(
      tr("The helper is a small program that runs as root. It tells what the processes of all users read, write and "
         "keep in memory, which the system does not tell to others. It does nothing else.")));
  body->addWidget(
      paragraph(tr("An administrator is asked when it is installed or removed, and each time when a program begins to "
                   "use it. It ends by itself when nobody needs it.")));
  auto* const bar = new QHBoxLayout;
  for (QAction* const action : {m_install, m_remove}) bar->addWidget(buttonFor(action));
  bar->addSpacing(space);
  bar->addWidget(m_busy);
  bar->addStretch();
  body->addLayout(bar);
  layout->addWidget(column);
  layout->addStretch();
  connect(m_install, &QAction::triggered, this, [this] { change(true); });
  connect(m_remove, &QAction::triggered, this, [this] { change(false); });
  setBusy(false);
}

HelperPage::State HelperPage::look() {
  HelperInstaller& installer = platform().helperInstaller();
  State state{.isInstalled = HelperIsInstalled(HELPER_LABEL),
              .isAtHand = installer.bundledInfo(HELPER_LABEL).has_value()};
  state.isOld = !state.isInstalled && installer.installedInfo(HELPER_LABEL).has_value();
  return state;
}

void HelperPage::readState() {
  if (m_isBusy) return;
  if (!runInBackground<State>(m_queue, this, look, [this](const State& state) { take(state); }))
    m_message->showFailure(tr("The system is too busy to look for the helper."));
}

void HelperPage::take(const State& state) {
  m_known = state;
  if (state.isInstalled)
    m_state->setText(tr("The helper is installed."));
  else if (state.isOld && state.isAtHand)
    m_state->setText(tr("An older version of the helper is installed."));
  else if (state.isOld)
    m_state->setText(tr("A helper is installed that does not belong to this copy of the program."));
  else if (state.isAtHand)
    m_state->setText(tr("The helper is not installed."));
  else
    m_state->setText(tr("The helper is not installed, and this copy of the program comes without it."));
  setBusy(m_isBusy);
}

void HelperPage::change(bool installs) {
  if (m_isBusy) return;
  struct Outcome {
    bool isDone = false;
    State state;
  };
  const auto perform = [installs] {
    const bool isDone = installs ? BlessHelper(HELPER_LABEL) : RemoveHelper(HELPER_LABEL);
    return Outcome{isDone, look()};
  };
  const bool begins = runInBackground<Outcome>(m_queue, this, perform, [this, installs](const Outcome& outcome) {
    m_isBusy = false;
    take(outcome.state);
    if (outcome.isDone)
      m_message->showMessage(installs ? tr("The helper has been installed.") : tr("The helper has been removed."));
    else
      m_message->showFailure(installs ? tr("The helper could not be installed. The log tells why.")
                                      : tr("The helper could not be removed. The log tells why."));
  });
  if (!begins) return m_message->showFailure(tr("The system is too busy to begin."));
  m_message->clear();
  setBusy(true);
}

void HelperPage::setBusy(bool isBusy) {
  m_isBusy = isBusy;
  m_busy->setVisible(isBusy);
  m_install->setEnabled(!isBusy && m_known.isAtHand && !m_known.isInstalled);
  m_remove->setEnabled(!isBusy && (m_known.isInstalled || m_known.isOld));
}

}  // namespace corvane::inspector
