#include "apps/inspector/window/ProgramChooser.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QStandardItemModel>
#include <QTimer>
#include <algorithm>
#include <functional>
#include <set>
#include <utility>

#include "apps/inspector/window/Background.h"
#include "apps/inspector/window/Shown.h"

namespace corvane::inspector {

namespace {

constexpr int INTERVAL = 3000;  // ms
constexpr std::int32_t THIS = 0;

// Tells when it is about to be opened.
class List : public QComboBox {
 public:
  explicit List(std::function<void()> opening) : m_opening(std::move(opening)) {}
  void showPopup() override {
    m_opening();
    QComboBox::showPopup();
  }

 private:
  const std::function<void()> m_opening;
};

std::int32_t pidAt(const QComboBox& list, int row) {
  return list.itemData(row).toInt();
}

}  // namespace

ProgramChooser::ProgramChooser(DiagnosticsPort& port, QWidget* parent)
    : QWidget(parent),
      m_list(new List([this] { read(); })),
      m_clock(new QTimer(this)),
      m_reader(std::make_shared<ProgramList>(port)) {
  m_list->setAccessibleName(tr("Program to look at"));
  m_list->setMinimumContentsLength(36);
  m_list->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  put(0, THIS, tr("This Program"), {}, true);
  auto* const label = new QLabel(tr("Program"));
  label->setBuddy(m_list);
  auto* const layout = new QHBoxLayout(this);
  layout->setContentsMargins({});
  layout->setSpacing(8);
  layout->addWidget(label);
  layout->addWidget(m_list);
  layout->addStretch();
  setFocusProxy(m_list);
  m_clock->setInterval(INTERVAL);
  connect(m_clock, &QTimer::timeout, this, &ProgramChooser::read);
  connect(m_list, &QComboBox::activated, this, [this](int row) { choose(pidAt(*m_list, row)); });
}

void ProgramChooser::open() {
  m_list->setFocus(Qt::ShortcutFocusReason);
  m_list->showPopup();
}

void ProgramChooser::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  m_clock->start();
  read();
}

void ProgramChooser::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  m_clock->stop();
}

void ProgramChooser::read() {
  if (m_isReading) return;
  m_isReading = runInBackground<Programs>(
      m_queue, this, [reader = m_reader] { return reader->read(); },
      [this](Programs programs) { take(std::move(programs)); });
}

void ProgramChooser::take(Programs programs) {
  m_isReading = false;
  m_list->setToolTip(programs ? QString()
                              : tr("The programs cannot be listed: %1").arg(shown(programs.error().description)));
  if (programs) m_programs = std::move(*programs);
  list();
  chooseWanted();
}

// Only what differs is changed, because the list may be open.
void ProgramChooser::list() {
  std::set<std::int32_t> pids = {THIS};
  for (const RunningProgram& program : m_programs) pids.insert(program.pid);
  if (m_current) pids.insert(m_current->pid);
  for (int row = m_list->count(); row-- > 0;)
    if (!pids.contains(pidAt(*m_list, row))) m_list->removeItem(row);
  int row = 1;
  for (const std::int32_t pid : pids) {
    if (pid == THIS) continue;
    const auto running = std::ranges::find(m_programs, pid, &RunningProgram::pid);
    const bool isCurrent = m_current && m_current->pid == pid;
    const QString number = QString::number(pid);
    if (isCurrent || (running != m_programs.end() && running->identity)) {
      const ProgramIdentity& program = isCurrent ? *m_current : *running->identity;
      const QString name = tr("%1 (%2)", "program, process id").arg(shownOrDash(program.name), number);
      put(row++, pid, isCurrent && m_isEnded ? tr("%1 – has ended").arg(name) : name, shown(program.executable), true);
    } else {
      put(row++, pid, tr("Process %1 does not answer").arg(number), shown(running->identity.error().description),
          false);
    }
  }
  m_list->setCurrentIndex(m_list->findData(m_current ? m_current->pid : THIS));
  if (m_list->view()->isVisible()) static_cast<QComboBox*>(m_list)->QComboBox::showPopup();  // in its new size
}

void ProgramChooser::put(int row, std::int32_t pid, const QString& text, const QString& tip, bool isEnabled) {
  if (m_list->findData(pid) != row) m_list->insertItem(row, text, pid);
  m_list->setItemText(row, text);
  m_list->setItemData(row, tip, Qt::ToolTipRole);
  static_cast<QStandardItemModel*>(m_list->model())->item(row)->setEnabled(isEnabled);
}

void ProgramChooser::choose(std::int32_t pid) {
  const auto program = std::ranges::find(m_programs, pid, &RunningProgram::pid);
  const bool isOther = program != m_programs.end() && program->identity;
  if (pid != THIS && !isOther) return list();  // it has just ended
  if (pid == (m_current ? m_current->pid : THIS)) return;
  m_current = isOther ? std::optional(*program->identity) : std::nullopt;
  m_isEnded = false;
  list();
  Q_EMIT chosen(m_current);
}

void ProgramChooser::choose(const std::string& text) {
  m_wanted = text;
  read();
}

void ProgramChooser::chooseWanted() {
  if (!m_wanted) return;
  const std::string wanted = *std::exchange(m_wanted, std::nullopt);
  const auto found = programsNamed(m_programs, wanted);
  if (found.size() == 1) return choose(found.front().pid);
  Q_EMIT failed(found.empty() ? tr("No program that can be looked at is called “%1”.").arg(shown(wanted))
                              : tr("Several programs are called “%1”. Please choose one.").arg(shown(wanted)));
}

void ProgramChooser::follow(const ProgramIdentity& program, bool isEnded) {
  if (m_current && m_current->pid == program.pid && m_isEnded == isEnded) return;
  m_current = program;
  m_isEnded = isEnded;
  list();
}

}  // namespace corvane::inspector
