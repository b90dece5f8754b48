#include "apps/inspector/window/SettingsPage.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QSplitter>
#include <QTimer>
#include <algorithm>

#include "apps/inspector/window/AddSettingDialog.h"
#include "apps/inspector/window/Shown.h"
#include "apps/inspector/window/ValueDelegate.h"
#include "apps/inspector/window/ValueText.h"

namespace corvane::inspector {

namespace {

constexpr qsizetype NAMED = 5;  // keys that a question lists

QString titleOf(const std::string& domain) {
  return domain == UserDefaults::GLOBAL_DOMAIN ? SettingsPage::tr("All programs") : shown(domain);
}

std::string domainOf(const QListWidgetItem* item) {
  return item ? item->data(Qt::UserRole).toString().toStdString() : std::string();
}

}  // namespace

SettingsPage::SettingsPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_add(newAction(this, tr("&Add…"), QKeySequence(QKeySequence::New))),
      m_edit(newAction(this, tr("&Edit"), QKeySequence(Qt::Key_F2))),
      m_remove(newAction(this, tr("&Remove…"), QKeySequence(QKeySequence::Delete))),
      m_copyValue(newAction(this, tr("Copy &Value"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_C))),
      m_message(new MessageBar),
      m_search(new QLineEdit),
      m_domains(new QListWidget),
      m_tree(new TreeTable(tr("Settings of the program"))),
      m_reading(new QTimer(this)) {
  m_reading->setSingleShot(true);
  m_reading->setInterval(0);
  m_domains->setFrameShape(QFrame::NoFrame);
  m_domains->setAccessibleName(tr("Programs with settings"));
  m_domains->setItemDelegate(new CellDelegate(this));
  m_domains->setTextElideMode(Qt::ElideMiddle);
  makeTree();
  QVBoxLayout* const layout = pageLayout(this);
  addControls(layout);
  layout->addWidget(m_message);
  auto* const parts = new QSplitter;
  parts->addWidget(m_domains);
  parts->addWidget(m_tree);
  parts->setStretchFactor(1, 1);
  parts->setSizes({fontMetrics().averageCharWidth() * 28, fontMetrics().averageCharWidth() * 100});
  parts->setChildrenCollapsible(false);
  layout->addWidget(parts, 1);
  setFocusProxy(m_tree);
  connect(m_domains, &QListWidget::currentItemChanged, this,
          [this](const QListWidgetItem* item) { showDomain(domainOf(item)); });
  connect(m_reading, &QTimer::timeout, this, &SettingsPage::read);
  connect(m_add, &QAction::triggered, this, &SettingsPage::add);
  connect(m_edit, &QAction::triggered, this,
          [this] { m_tree->edit(m_tree->currentIndex().siblingAtColumn(SettingsModel::VALUE)); });
  connect(m_remove, &QAction::triggered, this, &SettingsPage::askToRemove);
  connect(m_copyValue, &QAction::triggered, this, &SettingsPage::copyValue);
  noteSelection();
}

void SettingsPage::makeTree() {
  m_filtered.setSourceModel(&m_model);
  m_filtered.setRecursiveFilteringEnabled(true);
  m_filtered.setAutoAcceptChildRows(true);
  m_filtered.setFilterKeyColumn(-1);
  m_filtered.setFilterCaseSensitivity(Qt::CaseInsensitive);
  m_tree->setModel(&m_filtered);
  m_tree->setEditTriggers(QAbstractItemView::DoubleClicked);
  m_tree->setColumnWidth(SettingsModel::KEY, fontMetrics().averageCharWidth() * 32);
  m_tree->setColumnWidth(SettingsModel::KIND, fontMetrics().averageCharWidth() * 18);
  m_tree->addActions({m_add, m_edit, m_remove, m_copyValue});
  auto* const delegate = new ValueDelegate(
      [this](const QModelIndex& index) { return m_model.valueAt(m_filtered.mapToSource(index)); }, this);
  m_tree->setItemDelegateForColumn(SettingsModel::VALUE, delegate);
  connect(delegate, &ValueDelegate::entered, this, &SettingsPage::enter);
  connect(delegate, &ValueDelegate::refused, m_message, &MessageBar::showFailure);
  connect(m_tree->selectionModel(), &QItemSelectionModel::selectionChanged, this, &SettingsPage::noteSelection);
}

void SettingsPage::addControls(QVBoxLayout* layout) {
  QHBoxLayout* const bar = addBar(layout);
  for (QAction* const action : {m_add, m_edit, m_remove}) bar->addWidget(buttonFor(action));
  bar->addStretch();
  m_search->setPlaceholderText(tr("Search keys and values"));
  m_search->setAccessibleName(m_search->placeholderText());
  m_search->setClearButtonEnabled(true);
  m_search->setMaximumWidth(fontMetrics().averageCharWidth() * 40);
  bar->addWidget(m_search, 1);
  connect(m_search, &QLineEdit::textChanged, this, [this](const QString& text) {
    m_filtered.setFilterFixedString(text);
    m_tree->setPlaceholderText(text.isEmpty() ? tr("There are no settings.")
                                              : tr("No key or value contains this text."));
  });
}

void SettingsPage::appear() {
  if (m_model.defaults()) listen();
  m_hasFailed = true;  // to be read again
}

void SettingsPage::refresh() {
  listDomains();
  if (m_hasFailed) read();
}

void SettingsPage::listDomains() {
  auto names = UserDefaults::domains();
  if (!names)
    return m_message->showFailure(tr("The domains could not be listed: %1").arg(shown(names.error().description)));
  const std::string own = source().settingsDomain();
  std::vector<std::string> present;
  for (int row = 0; row < m_domains->count(); ++row) present.push_back(domainOf(m_domains->item(row)));
  if (present == *names) return;
  const std::string current = m_domains->currentItem() ? domainOf(m_domains->currentItem()) : own;
  const QSignalBlocker quiet(m_domains);
  m_domains->clear();
  for (const std::string& name : *names) {
    auto* const item = new QListWidgetItem(titleOf(name), m_domains);
    item->setData(Qt::UserRole, QString::fromStdString(name));
    item->setToolTip(shown(name));
    if (name == current) m_domains->setCurrentItem(item);
  }
  if (!m_domains->currentItem()) m_domains->setCurrentRow(0);
  const std::string next = domainOf(m_domains->currentItem());
  if (!m_model.defaults() || m_model.defaults()->domain() != next) showDomain(next);
}

void SettingsPage::showDomain(const std::string& name) {
  m_message->clear();
  m_changes.reset();
  const auto shownNow = m_model.setDomain(name);
  m_hasFailed = !shownNow;
  m_tree->setPlaceholderText(shownNow ? tr("There are no settings.") : shown(shownNow.error().description));
  if (isSeen() && m_model.defaults()) listen();
  noteSelection();
}

void SettingsPage::listen() {
  m_changes = m_model.defaults()->listen([this](std::string_view) { m_reading->start(); });
}

void SettingsPage::read() {
  const auto taken = m_model.read();
  if (taken && m_hasFailed) m_message->clear();
  m_hasFailed = !taken;
  if (!taken) m_message->showFailure(tr("The settings could not be read: %1").arg(shown(taken.error().description)));
  noteSelection();
}

QModelIndexList SettingsPage::selectedRows() const {
  QModelIndexList rows;
  for (const QModelIndex& index : m_tree->selectionModel()->selectedRows()) rows.append(m_filtered.mapToSource(index));
  return rows;
}

void SettingsPage::noteSelection() {
  const QModelIndexList rows = selectedRows();
  const Value* const only = rows.size() == 1 ? m_model.valueAt(rows.front()) : nullptr;
  const bool isPlain = only && !isContainer(kindOf(*only));
  m_add->setEnabled(m_model.defaults() != nullptr);
  m_edit->setEnabled(isPlain);
  m_copyValue->setEnabled(isPlain);
  m_remove->setEnabled(!rows.isEmpty());
}

void SettingsPage::enter(const QModelIndex& index, const Value& value) {
  const auto stored = m_model.set(m_filtered.mapToSource(index), value);
  if (stored)
    m_message->clear();
  else
    m_message->showFailure(
        tr("The value could not be stored, and the old one stays: %1").arg(shown(stored.error().description)));
}

// Into the selected dictionary or array, or beside what else is selected.
void SettingsPage::add() {
  const QModelIndexList rows = selectedRows();
  QModelIndex container = rows.size() == 1 ? rows.front() : QModelIndex();
  if (container.isValid() && !isContainer(kindOf(*m_model.valueAt(container)))) container = container.parent();
  const bool hasKey = !container.isValid() || m_model.valueAt(container)->isDictionary();
  const QString place = container.isValid() ? container.siblingAtColumn(SettingsModel::KEY).data().toString()
                                            : titleOf(m_model.defaults()->domain());
  auto* const dialog = new AddSettingDialog(
      place, hasKey,
      [this, isTop = !container.isValid(), at = QPersistentModelIndex(container)](const std::string& key,
                                                                                  const Value& value) -> Result<void> {
        if (!isTop && !at.isValid()) return failure("inspector", 0, tr("It has been removed meanwhile").toStdString());
        return m_model.add(at, key, value);
      },
      this);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  dialog->open();
}

void SettingsPage::askToRemove() {
  QList<QPersistentModelIndex> rows;
  QStringList names;
  for (const QModelIndex& index : selectedRows()) {
    rows.append(index);
    if (names.size() < NAMED) names.append(tr("“%1”").arg(index.siblingAtColumn(SettingsModel::KEY).data().toString()));
  }
  if (rows.isEmpty()) return;
  if (rows.size() > NAMED) names.append(QStringLiteral("…"));
  auto* const question =
      new QMessageBox(QMessageBox::Question, tr("Remove Settings"),
                      tr("Remove %1 from the settings? This cannot be undone.").arg(names.join(QStringLiteral(", "))),
                      QMessageBox::Cancel, this);
  question->setTextFormat(Qt::PlainText);
  QPushButton* const yes = question->addButton(tr("&Remove"), QMessageBox::DestructiveRole);
  question->setAttribute(Qt::WA_DeleteOnClose);
  connect(yes, &QPushButton::clicked, this, [this, rows] { remove(rows); });
  question->open();
}

void SettingsPage::remove(const QList<QPersistentModelIndex>& rows) {
  QModelIndexList present;  // some may have gone while the question was open
  for (const QPersistentModelIndex& row : rows)
    if (row.isValid()) present.append(row);
  const auto removed = m_model.remove(present);
  if (removed)
    m_message->clear();
  else
    m_message->showFailure(tr("Nothing was removed: %1").arg(shown(removed.error().description)));
}

void SettingsPage::copyValue() {
  const QModelIndexList rows = selectedRows();
  if (rows.size() == 1) QApplication::clipboard()->setText(editable(*m_model.valueAt(rows.front())));
}

}  // namespace corvane::inspector
