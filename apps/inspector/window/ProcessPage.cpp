#include "apps/inspector/window/ProcessPage.h"

#include <signal.h>

#include <QButtonGroup>
#include <QClipboard>
#include <QFileDialog>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSaveFile>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <set>

#include "apps/inspector/model/ProcessOrder.h"
#include "apps/inspector/text/ProcessColumn.h"
#include "apps/inspector/text/SignalName.h"
#include "apps/inspector/window/Background.h"
#include "apps/inspector/window/ProcessPopover.h"
#include "apps/inspector/window/ProcessText.h"
#include "apps/inspector/window/Shown.h"
#include "corvane/infra/settings/DefaultSettings.h"

namespace corvane::inspector {

namespace {

constexpr char ID[] = "processes";
constexpr char TREE[] = "window.processes.tree";
constexpr double ZOOM_STEP = 1.25;

// As they are shown at first.
constexpr std::array COLUMNS = {ProcessColumn::NAME,      ProcessColumn::USER,      ProcessColumn::STATE,
                                ProcessColumn::KIND,      ProcessColumn::PID,       ProcessColumn::PARENT,
                                ProcessColumn::PROCESSOR, ProcessColumn::MEMORY,    ProcessColumn::TIME,
                                ProcessColumn::THREADS,   ProcessColumn::FOOTPRINT, ProcessColumn::READ,
                                ProcessColumn::WRITTEN,   ProcessColumn::COMMAND};

struct Signal {
  int number;
  const char* text;
};

constexpr std::array SIGNALS = {
    Signal{SIGTERM, QT_TRANSLATE_NOOP("Processes", "&End")},
    Signal{SIGKILL, QT_TRANSLATE_NOOP("Processes", "&Kill")},
    Signal{SIGINT, QT_TRANSLATE_NOOP("Processes", "&Interrupt")},
    Signal{SIGHUP, QT_TRANSLATE_NOOP("Processes", "&Hang Up")},
    Signal{SIGQUIT, QT_TRANSLATE_NOOP("Processes", "&Quit with a Memory Image")},
    Signal{SIGSTOP, QT_TRANSLATE_NOOP("Processes", "&Stop")},
    Signal{SIGCONT, QT_TRANSLATE_NOOP("Processes", "&Continue")},
    Signal{SIGUSR1, QT_TRANSLATE_NOOP("Processes", "User Signal &1")},
    Signal{SIGUSR2, QT_TRANSLATE_NOOP("Processes", "User Signal &2")},
};

QString idOf(ProcessColumn column) {
  const std::string_view word = styleOf(column).word;
  return QString::fromUtf8(word.data(), static_cast<qsizetype>(word.size()));
}

// Some names, a line for each, and how many others there are.
QString namesOf(const std::vector<ProcessRow>& rows) {
  static constexpr std::size_t MOST = 10;
  QStringList names;
  for (std::size_t i = 0; i < std::min(MOST, rows.size()); ++i) names << nameOf(rows[i]);
  if (rows.size() > MOST) names << ProcessPage::tr("and %1 more").arg(QLocale().toString(rows.size() - MOST));
  return names.join(u'\n');
}

}  // namespace

ProcessPage::ProcessPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_model(columns()),
      m_table(new PageTable(&m_model, ID, tr("Processes"), {28, 14, 12, 12, 9, 9, 14, 13, 11, 12, 14, 13, 13})),
      m_tree(new ProcessTreeView),
      m_views(new QStackedWidget),
      m_details(new ProcessDetails),
      m_filter(new QLineEdit),
      m_message(new MessageBar),
      m_figuresAction(new QAction(tr("Show Fi&gures of All Processes"), this)),
      m_treeAction(new QAction(tr("Show as &Tree"), this)) {
  if (!m_table->isRestored()) {
    for (const ProcessColumn column : {ProcessColumn::KIND, ProcessColumn::PARENT})
      m_table->setColumnHidden(m_model.columnOf(idOf(column)), true);
    m_table->sortByColumn(m_model.columnOf(idOf(ProcessColumn::PROCESSOR)), Qt::DescendingOrder);
  }
  m_views->addWidget(m_table);
  m_views->addWidget(m_tree);
  m_filter->setPlaceholderText(tr("Filter by name, command, user, or PID"));
  m_filter->setClearButtonEnabled(true);
  m_filter->setAccessibleName(tr("Filter"));
  makeActions();
  auto* const splitter = new QSplitter(Qt::Vertical);
  splitter->addWidget(m_views);
  splitter->addWidget(m_details);
  splitter->setStretchFactor(0, 1);
  splitter->setChildrenCollapsible(false);
  QVBoxLayout* const layout = pageLayout(this);
  QHBoxLayout* const bar = addBar(layout);
  bar->addWidget(m_filter, 1);
  makeViewButtons(*bar);
  layout->addWidget(m_message);
  layout->addWidget(splitter, 1);
  connectAll();
  showFigures(false);
  m_treeAction->setChecked(Defaults.loadBool(TREE, false));
}

void ProcessPage::connectAll() {
  connect(&m_icons, &ExecutableIcons::changed, m_table->viewport(), qOverload<>(&QWidget::update));
  connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, &ProcessPage::showSelection);
  connect(m_tree, &ProcessTreeView::selected, this, &ProcessPage::selectInTable);
  connect(m_filter, &QLineEdit::textChanged, this, &ProcessPage::arrange);
  connect(m_figuresAction, &QAction::toggled, this, &ProcessPage::showFigures);
  connect(m_treeAction, &QAction::toggled, this, &ProcessPage::showTree);
}

std::vector<RowColumn<ProcessRow>> ProcessPage::columns() {
  std::vector<RowColumn<ProcessRow>> columns;
  for (const ProcessColumn column : COLUMNS) {
    RowColumn<ProcessRow> made;
    made.id = idOf(column);
    made.title = titleOf(column);
    made.text = [column](const ProcessRow& row) { return textOf(row, column); };
    made.isLess = [column](const ProcessRow& a, const ProcessRow& b) { return comesBefore(a, b, column); };
    made.isNumber = styleOf(column).isNumber;
    if (column == ProcessColumn::NAME)
      made.other = [this](const ProcessRow& row, int role) {
        return role == Qt::DecorationRole ? QVariant(m_icons.icon(row.path)) : QVariant();
      };
    if (column == ProcessColumn::COMMAND)
      made.other = [](const ProcessRow& row, int role) {
        return role == Qt::ToolTipRole ? QVariant(textOf(row, ProcessColumn::COMMAND).left(1000).toHtmlEscaped())
                                       : QVariant();
      };
    columns.push_back(std::move(made));
  }
  return columns;
}

void ProcessPage::makeViewButtons(QHBoxLayout& bar) {
  auto* const views = new QButtonGroup(this);
  auto* const buttons = new QHBoxLayout;
  buttons->setSpacing(2);
  for (const bool isTree : {false, true}) {
    auto* const button = new QToolButton;
    button->setText(isTree ? tr("Tree") : tr("Table"));
    button->setToolTip(isTree ? tr("Show the processes as a tree") : tr("Show the processes as a table"));
    button->setCheckable(true);
    button->setChecked(!isTree);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    views->addButton(button);
    buttons->addWidget(button);
    connect(button, &QToolButton::clicked, this, [this, isTree] { m_treeAction->setChecked(isTree); });
    connect(m_treeAction, &QAction::toggled, button,
            [button, isTree](bool isOn) { button->setChecked(isOn == isTree); });
  }
  bar.addLayout(buttons);
}

// The processes.

void ProcessPage::appear() {
  follow();
}

void ProcessPage::disappear() {
  m_feed.reset();
  m_figuresAction->setChecked(false);
}

void ProcessPage::follow() {
  m_feed = source().machine().followProcesses(m_hasFigures, [this](Result<Rows> rows) { take(std::move(rows)); });
}

void ProcessPage::take(Result<Rows> rows) {
  if (!rows && m_hasFigures) {
    m_figuresAction->setChecked(false);  // goes on without them
    return m_message->showFailure(shown(rows.error().description));
  }
  if (std::exchange(m_isAsking, false)) m_message->clear();
  m_rows = rows ? std::move(*rows) : Rows();
  m_table->setPlaceholderText(rows ? tr("There is no such process.") : shown(rows.error().description));
  arrange();
}

void ProcessPage::arrange() {
  const ProcessFilter filter(m_filter->text().trimmed().toStdString());
  Rows shown;
  std::ranges::copy_if(m_rows, std::back_inserter(shown),
                       [&filter](const ProcessRow& row) { return filter.matches(row); });
  if (m_views->currentWidget() == m_tree) m_tree->setRows(shown);
  m_model.setRows(std::move(shown));
  showSelection();
}

ProcessPage::Rows ProcessPage::selectedRows() const {
  Rows rows;
  for (const QModelIndex& index : m_table->selectionModel()->selectedRows())
    if (const ProcessRow* const row = m_model.at(index)) rows.push_back(*row);
  return rows;
}

void ProcessPage::showSelection() {
  const Rows rows = selectedRows();
  std::set<pid_t> pids;
  for (const ProcessRow& row : rows) pids.insert(row.pid);
  m_tree->setSelected(std::move(pids));
  m_details->setRow(m_model.at(shownIndex()));
}

// Of those that are selected, the current one if it is among them.
QModelIndex ProcessPage::shownIndex() const {
  const QItemSelectionModel& selection = *m_table->selectionModel();
  const QModelIndex current = m_table->currentIndex();
  return current.isValid() && selection.isRowSelected(current.row()) ? current : selection.selectedRows().value(0);
}

// QTableView::selectRow() may select nothing where the columns go from right to left.
void ProcessPage::selectInTable(pid_t pid) {
  const auto& rows = m_model.rows();
  const auto found = std::ranges::find(rows, pid, &ProcessRow::pid);
  if (found == rows.end()) return;
  const QModelIndex index = m_model.index(static_cast<int>(found - rows.begin()), 0);
  m_table->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  m_table->scrollTo(index);
}

void ProcessPage::showFigures(bool isShown) {
  for (const ProcessColumn column : COLUMNS)
    if (isFigure(column)) m_table->setColumnHidden(m_model.columnOf(idOf(column)), !isShown);
  if (isShown == m_hasFigures) return;
  m_hasFigures = isShown;
  if (!isSeen()) return;
  m_isAsking = isShown;
  isShown ? m_message->showMessage(tr("Asking for the figures of all processes…")) : m_message->clear();
  follow();
}

void ProcessPage::showTree(bool isShown) {
  Defaults.saveBool(TREE, isShown);
  m_views->setCurrentWidget(isShown ? static_cast<QWidget*>(m_tree) : m_table);
  if (isShown) m_tree->setRows(m_model.rows());
}

// What can be done.

void ProcessPage::makeActions() {
  makeSignals();
  QAction* const details = newAction(this, tr("&Details"), QKeySequence(Qt::CTRL | Qt::Key_I));
  connect(details, &QAction::triggered, this, &ProcessPage::showDetails);
  connect(m_table, &QTableView::doubleClicked, this, &ProcessPage::showDetails);
  for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter})
    new QShortcut(key, m_table, this, &ProcessPage::showDetails, Qt::WidgetShortcut);
  m_table->insertAction(m_table->actions().front(), details);
  m_tree->insertAction(m_tree->actions().front(), details);
  QAction* const copy = newAction(this, tr("Copy Co&mmand Line"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C));
  connect(copy, &QAction::triggered, this, &ProcessPage::copyCommands);
  m_table->addAction(copy);
  m_tree->addAction(copy);
  m_tree->setContextMenuPolicy(Qt::ActionsContextMenu);
  m_figuresAction->setCheckable(true);
  addAction(m_figuresAction);
  m_treeAction->setCheckable(true);
  m_treeAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_T));
  m_treeAction->setShortcutContext(Qt::WidgetWithChildrenShortcut);
  addAction(m_treeAction);
  makeTreeActions();
}

void ProcessPage::makeSignals() {
  auto* const menu = new QMenu(tr("Send &Signal"), this);
  for (const Signal& signal : SIGNALS) {
    const QString name = QString::fromStdString(signalName(signal.number));
    QAction* const action =
        menu->addAction(tr("%1 (%2)…").arg(QCoreApplication::translate("Processes", signal.text), name));
    connect(action, &QAction::triggered, this, [this, number = signal.number] { askToSignal(number); });
    if (signal.number != SIGTERM) continue;
    action->setShortcut(QKeySequence::Delete);
    action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    m_table->addAction(action);
    m_tree->addAction(action);
    addAction(action);
  }
  for (QWidget* const widget :
       {static_cast<QWidget*>(this), static_cast<QWidget*>(m_table), static_cast<QWidget*>(m_tree)})
    widget->addAction(menu->menuAction());
}

void ProcessPage::makeTreeActions() {
  const auto add = [this](const QString& text, const QKeySequence& keys, auto slot) {
    QAction* const action = newAction(this, text, keys);
    connect(action, &QAction::triggered, this, slot);
    action->setEnabled(false);
    connect(m_treeAction, &QAction::toggled, action, &QAction::setEnabled);
    m_tree->addAction(action);
  };
  add(tr("Zoom &In"), QKeySequence(Qt::CTRL | Qt::Key_Plus), [this] { m_tree->zoomBy(ZOOM_STEP); });
  add(tr("Zoom &Out"), QKeySequence(Qt::CTRL | Qt::Key_Minus), [this] { m_tree->zoomBy(1 / ZOOM_STEP); });
  add(tr("O&riginal Size"), QKeySequence(Qt::CTRL | Qt::Key_0), [this] { m_tree->zoomBy(1 / m_tree->zoom()); });
  add(tr("&Whole Tree"), QKeySequence(Qt::CTRL | Qt::Key_9), [this] { m_tree->fit(); });
  add(tr("Save &Picture…"), QKeySequence::Save, [this] { askForPicture(); });
}

void ProcessPage::showDetails() {
  const QModelIndex index = shownIndex();
  const ProcessRow* const row = m_model.at(index);
  if (!row) return m_message->showMessage(tr("Select a process first."));
  const auto all = findChildren<ProcessPopover*>(QString(), Qt::FindDirectChildrenOnly);
  const auto found = std::ranges::find_if(all, [row](const auto* popover) { return popover->isOf(*row); });
  ProcessPopover& popover = found == all.end() ? *new ProcessPopover(source().machine(), *row, this) : **found;
  const bool isTree = m_views->currentWidget() == m_tree;
  if (!isTree) m_table->scrollTo(index);
  QWidget& view = isTree ? *m_tree->viewport() : *m_table->viewport();
  const QRect place = view.rect() & (isTree ? m_tree->placeOf(row->pid) : m_table->visualRect(index));
  popover.show(view, place.isEmpty() ? view.rect() : place);
}

// Asks about those that are selected now, however the selection changes meanwhile.
void ProcessPage::askToSignal(int number) {
  const Rows rows = selectedRows();
  if (rows.empty()) return m_message->showMessage(tr("Select a process first."));
  const QString name = QString::fromStdString(signalName(number));
  auto* const box = new QMessageBox(QMessageBox::Question, tr("Send a Signal"), QString(), QMessageBox::Cancel, this);
  box->setTextFormat(Qt::PlainText);
  if (rows.size() == 1) {
    box->setText(tr("Send %1 to %2?").arg(name, nameOf(rows.front())));
  } else {
    box->setText(tr("Send %1 to %2 processes?").arg(name, QLocale().toString(rows.size())));
    box->setInformativeText(namesOf(rows));
  }
  QPushButton* const send = box->addButton(tr("Send %1").arg(name), QMessageBox::AcceptRole);
  box->setDefaultButton(QMessageBox::Cancel);
  box->setAttribute(Qt::WA_DeleteOnClose);
  connect(send, &QPushButton::clicked, this, [this, rows, number] { sendSignal(rows, number); });
  box->open();
}

void ProcessPage::sendSignal(const Rows& rows, int number) {
  const QString name = QString::fromStdString(signalName(number));
  QStringList failures;
  for (const ProcessRow& row : rows)
    if (const auto sent = source().machine().signal(row.pid, row.started, number); !sent)
      failures << tr("%1 was not sent to %2: %3.").arg(name, nameOf(row), shown(sent.error().description));
  if (!failures.isEmpty()) return m_message->showFailure(failures.join(u'\n'));
  m_message->showMessage(rows.size() == 1
                             ? tr("%1 was sent to %2.").arg(name, nameOf(rows.front()))
                             : tr("%1 was sent to %2 processes.").arg(name, QLocale().toString(rows.size())));
}

void ProcessPage::copyCommands() {
  QStringList lines;
  for (const ProcessRow& row : selectedRows()) lines << textOf(row, ProcessColumn::COMMAND);
  if (!lines.isEmpty()) QGuiApplication::clipboard()->setText(lines.join(u'\n'));
}

void ProcessPage::askForPicture() {
  auto* const dialog = new QFileDialog(this, tr("Save Picture"), QString(), tr("Drawing (*.svg);;Picture (*.png)"));
  dialog->setAcceptMode(QFileDialog::AcceptSave);
  dialog->setDefaultSuffix(QStringLiteral("svg"));
  dialog->selectFile(QStringLiteral("processes.svg"));
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  connect(dialog, &QFileDialog::filterSelected, dialog, [dialog](const QString& filter) {
    dialog->setDefaultSuffix(filter.contains(QStringLiteral("*.png")) ? QStringLiteral("png") : QStringLiteral("svg"));
  });
  connect(dialog, &QFileDialog::fileSelected, this, &ProcessPage::savePicture);
  dialog->open();
}

void ProcessPage::savePicture(const QString& path) {
  const bool isDrawing = path.endsWith(QStringLiteral(".svg"), Qt::CaseInsensitive);
  const QString title = tr("Processes of %1").arg(shown(source().machine().host()));
  const auto write = [path, isDrawing, drawing = isDrawing ? m_tree->svg(title.toStdString()) : std::string(),
                      picture = isDrawing ? QImage() : m_tree->picture()] {
    QSaveFile file(path);
    bool isWritten = file.open(QIODevice::WriteOnly);
    if (isWritten && isDrawing) isWritten = file.write(drawing.data(), static_cast<qint64>(drawing.size())) >= 0;
    if (isWritten && !isDrawing) isWritten = picture.save(&file, "PNG");
    return isWritten && file.commit() ? QString() : file.errorString();
  };
  runInBackground<QString>(m_writing, this, write, [this, path](const QString& failure) {
    failure.isEmpty() ? m_message->showMessage(tr("%1 was written.").arg(path))
                      : m_message->showFailure(tr("%1 could not be written: %2.").arg(path, failure));
  });
}

}  // namespace corvane::inspector
