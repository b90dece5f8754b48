#include "apps/inspector/window/LogPage.h"

#include <QAction>
#include <QCheckBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QLocale>
#include <QTimer>

#include "apps/inspector/window/Background.h"
#include "apps/inspector/window/Shown.h"
#include "corvane/platform/Platform.h"

namespace corvane::inspector {

namespace {

constexpr std::size_t AT_ONCE = std::size_t{2} << 20U;  // bytes: more than is kept
constexpr int TYPING = 150;                             // ms without a key before the filter is applied

QLineEdit* makeField(const QString& hint, const QString& name) {
  auto* const field = new QLineEdit;
  field->setPlaceholderText(hint);
  field->setAccessibleName(name);
  field->setClearButtonEnabled(true);
  return field;
}

}  // namespace

LogPage::LogPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_follow(addOption(tr("Follo&w"), QKeySequence(Qt::CTRL | Qt::Key_E), true)),
      m_wrap(addOption(tr("Wr&ap Lines"), QKeySequence(Qt::CTRL | Qt::Key_L), false)),
      m_message(new MessageBar),
      m_search(makeField(tr("Find"), tr("Text to find"))),
      m_filter(makeField(tr("Show only lines with…"), tr("Text that lines must contain to be shown"))),
      m_view(new LogView),
      m_state(new QLabel),
      m_filterDelay(new QTimer(this)) {
  m_view->setAccessibleName(tr("Lines of the log"));
  m_state->setTextFormat(Qt::PlainText);
  m_state->setTextInteractionFlags(Qt::TextSelectableByMouse);
  m_state->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);  // a long path must not widen the window
  m_filterDelay->setSingleShot(true);
  m_filterDelay->setInterval(TYPING);
  QVBoxLayout* const layout = pageLayout(this);
  makeActions();
  addControls(layout);
  layout->addWidget(m_message);
  layout->addWidget(m_view);
  addBar(layout)->addWidget(m_state);
  setFocusProxy(m_view);
  connect(m_follow, &QAction::toggled, m_view, &LogView::setFollowing);
  connect(m_view, &LogView::followingChanged, m_follow, &QAction::setChecked);
  connect(m_wrap, &QAction::toggled, this, [this](bool wraps) {
    m_view->setLineWrapMode(wraps ? QPlainTextEdit::WidgetWidth : QPlainTextEdit::NoWrap);
    m_view->setFollowing(m_view->isFollowing());
  });
  connect(m_filter, &QLineEdit::textChanged, m_filterDelay, qOverload<>(&QTimer::start));
  connect(m_filterDelay, &QTimer::timeout, this, [this] {
    m_view->setFilter(m_filter->text());
    showState({});
  });
  connect(m_search, &QLineEdit::textChanged, m_view, &LogView::setSearched);
  connect(m_search, &QLineEdit::returnPressed, this, [this] { findNext(true); });
  follow({});
}

QAction* LogPage::addOption(const QString& text, const QKeySequence& keys, bool isOn) {
  QAction* const action = newAction(this, text, keys);
  action->setCheckable(true);
  action->setChecked(isOn);
  return action;
}

void LogPage::makeActions() {
  const auto add = [this](const QString& text, const QKeySequence& keys, auto slot) {
    connect(newAction(this, text, keys), &QAction::triggered, this, slot);
  };
  add(tr("Find &Next"), QKeySequence(QKeySequence::FindNext), [this] { findNext(false); });
  add(tr("Find &Previous"), QKeySequence(QKeySequence::FindPrevious), [this] { findNext(true); });
  add(tr("&Open Log File…"), QKeySequence(QKeySequence::Open), [this] { chooseFile(); });
  add(tr("Show the Program’s &Log"), {}, [this] { follow({}); });
  add(tr("Show Fol&der"), {}, [this] { showFolder(); });
  m_view->addActions(actions());
}

void LogPage::addControls(QVBoxLayout* layout) {
  QHBoxLayout* const bar = addBar(layout);
  bar->addWidget(m_search, 1);
  bar->addWidget(m_filter, 1);
  for (QAction* const option : {m_follow, m_wrap}) {
    auto* const box = new QCheckBox(option->text());
    box->setChecked(option->isChecked());
    connect(box, &QCheckBox::clicked, option, &QAction::setChecked);
    connect(option, &QAction::toggled, box, &QCheckBox::setChecked);
    bar->addWidget(box);
  }
}

// The log of this program is a file like others; that of another one is asked for.
void LogPage::follow(const std::string& path) {
  m_isOfOther = path.empty() && !source().name().empty();
  m_path = path.empty() && !m_isOfOther ? source().log().path : path;
  m_file.reset();
  if (!m_path.empty()) m_file.emplace(m_path);
  m_feed.reset();
  m_view->clearLines();
  m_view->setFollowing(true);
  m_message->clear();
  if (isSeen()) appear(), refresh();
}

void LogPage::appear() {
  if (!m_isOfOther) return;
  m_view->clearLines();
  m_feed = source().followLog(AT_ONCE, [this](const Result<LogState>& state) { take(state); });
}

void LogPage::take(const Result<LogState>& state) {
  if (state) {
    m_path = state->path;
    m_view->append(state->text);
  }
  showState(!state ? shown(state.error().description) : m_path.empty() ? tr("The program keeps no log.") : QString());
}

void LogPage::refresh() {
  if (m_isOfOther) return;
  if (!m_file) return showState(tr("The program keeps no log."));
  const auto text = m_file->read(AT_ONCE);
  if (text) m_view->append(*text);
  showState(text ? QString() : shown(text.error().description));
}

void LogPage::showState(const QString& failure) {
  m_view->setPlaceholderText(!failure.isEmpty()            ? failure
                             : !m_filter->text().isEmpty() ? tr("No line contains this text.")
                                                           : tr("The file is empty."));
  const QLocale locale;
  const auto number = [&](std::size_t count) { return locale.toString(static_cast<qulonglong>(count)); };
  QString lines = m_filter->text().isEmpty()
                      ? tr("Lines: %1").arg(number(m_view->lines()))
                      : tr("Lines: %1 of %2").arg(number(m_view->shownLines()), number(m_view->lines()));
  if (!m_path.empty()) lines = QStringLiteral("%1 – %2").arg(shown(m_path), lines);
  m_state->setText(failure.isEmpty() || m_view->lines() == 0 ? lines : lines + QStringLiteral(" – ") + failure);
}

void LogPage::findNext(bool backward) {
  if (m_search->text().isEmpty()) {
    find();
  } else if (m_view->findNext(backward)) {
    m_message->clear();
  } else {
    m_message->showMessage(tr("“%1” was not found.").arg(m_search->text()));
  }
}

void LogPage::chooseFile() {
  auto* const dialog = new QFileDialog(this, tr("Open Log File"));
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->setFileMode(QFileDialog::ExistingFile);
  if (!m_path.empty()) dialog->setDirectory(QString::fromStdString(m_path).section(u'/', 0, -2));
  connect(dialog, &QFileDialog::fileSelected, this,
          [this](const QString& path) { follow(QFile::encodeName(path).toStdString()); });
  dialog->open();
}

void LogPage::showFolder() {
  if (m_path.empty()) return m_message->showFailure(tr("The program keeps no log."));
  const bool begins = runInBackground<Result<void>>(
      m_desktop, this, [path = m_path] { return platform().workspace().reveal(path); },
      [this](const Result<void>& shownThere) {
        if (!shownThere)
          m_message->showFailure(tr("The folder could not be shown: %1").arg(shown(shownThere.error().description)));
      });
  if (!begins) m_message->showFailure(tr("The system is too busy to show the folder."));
}

}  // namespace corvane::inspector
