#include "apps/inspector/window/DisksPage.h"

#include <QAction>
#include <QHeaderView>
#include <QLocale>
#include <QMessageBox>
#include <QProgressBar>

#include "apps/inspector/text/DiskReport.h"
#include "apps/inspector/window/Background.h"
#include "apps/inspector/window/Shown.h"
#include "corvane/platform/Platform.h"

namespace corvane::inspector {

namespace {

QString deviceOf(const std::string& name) {
  return QStringLiteral("/dev/") + shown(name);
}

QString notesOn(const DiskRow& row) {
  QStringList notes;
  if (!row.writable) notes.append(DisksPage::tr("read-only"));
  if (row.removable) notes.append(DisksPage::tr("removable"));
  return notes.join(QStringLiteral(", "));
}

}  // namespace

std::vector<RowColumn<DiskRow>> DisksPage::columns() {
  using Row = DiskRow;
  return {
      {"name", tr("Name"), [](const Row& row) { return shown(row.name); }},
      {.id = "size",
       .title = tr("Size"),
       .text =
           [](const Row& row) {
             return QLocale().formattedDataSize(static_cast<qint64>(row.size), 1, QLocale::DataSizeIecFormat);
           },
       .isNumber = true},
      {"type", tr("Type"), [](const Row& row) { return row.content.empty() ? shownOrDash("") : shown(typeOf(row)); }},
      {"system", tr("File System"), [](const Row& row) { return shownOrDash(row.fileSystem); }},
      {"label", tr("Label"), [](const Row& row) { return shownOrDash(row.label); }},
      {"notes", tr("Notes"), notesOn},
      {"mounted", tr("Mounted At"),
       [](const Row& row) { return row.mountPoints.empty() ? shownOrDash("") : shown(mountsOf(row)); }},
  };
}

DisksPage::DisksPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_model(columns()),
      m_mount(newAction(this, tr("&Mount"), QKeySequence(Qt::CTRL | Qt::Key_M))),
      m_unmount(newAction(this, tr("&Unmount"), QKeySequence(Qt::CTRL | Qt::Key_U))),
      m_force(newAction(this, tr("Unmount Even If in Use…"))),
      m_open(newAction(this, tr("&Open"), QKeySequence(Qt::CTRL | Qt::Key_O))),
      m_busy(new QProgressBar),
      m_message(new MessageBar),
      m_tree(new TreeTable(tr("Disks"))) {
  m_tree->setModel(&m_model);
  m_tree->setSelectionMode(QAbstractItemView::SingleSelection);
  m_tree->setExpandsOnDoubleClick(false);
  m_tree->addActions(actions());
  m_busy->setRange(0, 0);
  m_busy->setTextVisible(false);
  m_busy->setFixedWidth(fontMetrics().averageCharWidth() * 16);
  m_busy->setAccessibleName(tr("A disk is being mounted or unmounted"));
  m_busy->hide();
  QVBoxLayout* const layout = pageLayout(this);
  QHBoxLayout* const bar = addBar(layout);
  for (QAction* const action : {m_mount, m_unmount, m_open}) bar->addWidget(buttonFor(action));
  bar->addStretch();
  bar->addWidget(m_busy);
  layout->addWidget(m_message);
  layout->addWidget(m_tree);
  setFocusProxy(m_tree);
  connect(m_mount, &QAction::triggered, this, [this] { request(true, false); });
  connect(m_unmount, &QAction::triggered, this, [this] { request(false, false); });
  connect(m_force, &QAction::triggered, this, [this] { request(false, true); });
  connect(m_open, &QAction::triggered, this, &DisksPage::openMountPoint);
  connect(m_tree, &QAbstractItemView::activated, this, &DisksPage::openMountPoint);
  connect(m_tree->selectionModel(), &QItemSelectionModel::selectionChanged, this, &DisksPage::noteCurrent);
  noteCurrent();
}

void DisksPage::appear() {
  if (m_model.rows().empty()) m_tree->setPlaceholderText(tr("Reading the disks…"));
  m_feed = source().machine().followDisks([this](Result<std::vector<DiskRow>> rows) { take(std::move(rows)); });
}

void DisksPage::take(Result<std::vector<DiskRow>> rows) {
  m_tree->setPlaceholderText(rows ? tr("This machine has no disks.") : shown(rows.error().description));
  const bool isFirst = m_known.empty() && rows && !rows->empty();
  if (!rows || *rows != m_model.rows()) m_model.setRows(rows ? std::move(*rows) : std::vector<DiskRow>());
  for (const DiskRow& row : m_model.rows())
    if (m_known.insert(row.name).second) m_tree->expand(m_model.find(row.name).parent());
  if (isFirst)
    for (int column = 0; column + 1 < m_model.columnCount(); ++column) {
      m_tree->resizeColumnToContents(column);
      m_tree->setColumnWidth(column, m_tree->columnWidth(column) + 2 * fontMetrics().averageCharWidth());
    }
  noteCurrent();
}

const DiskRow* DisksPage::current() const {
  const QModelIndexList selected = m_tree->selectionModel()->selectedRows();
  return selected.isEmpty() ? nullptr : m_model.at(selected.front());
}

void DisksPage::noteCurrent() {
  const DiskRow* const row = current();
  for (QAction* const action : {m_mount, m_unmount, m_force}) action->setEnabled(row && !m_request);
  m_open->setEnabled(row && !row->mountPoints.empty());
}

void DisksPage::request(bool mounts, bool force) {
  const DiskRow* const row = current();
  if (!row || m_request) return;
  const DiskRequest wanted{mounts, row->name, m_model.rowCount(m_model.find(row->name)) > 0, force};
  if (!force) return begin(wanted);
  auto* const question = new QMessageBox(
      QMessageBox::Warning, tr("Unmount Even If in Use"),
      tr("Unmount %1 even if it is in use? Programs that have files open there may lose what they have not saved.")
          .arg(deviceOf(row->name)),
      QMessageBox::Cancel, this);
  QPushButton* const yes = question->addButton(tr("&Unmount"), QMessageBox::DestructiveRole);
  question->setDefaultButton(QMessageBox::Cancel);
  question->setAttribute(Qt::WA_DeleteOnClose);
  connect(yes, &QPushButton::clicked, this, [this, wanted] { begin(wanted); });
  question->open();
}

void DisksPage::begin(const DiskRequest& request) {
  if (m_request) return;
  m_request =
      source().machine().request(request, [this, request](const DiskOutcome& outcome) { tell(request, outcome); });
  m_message->showMessage((request.mounts ? tr("Mounting %1…") : tr("Unmounting %1…")).arg(deviceOf(request.device)));
  m_busy->show();
  noteCurrent();
}

void DisksPage::tell(const DiskRequest& request, const DiskOutcome& outcome) {
  m_request.reset();
  m_busy->hide();
  noteCurrent();
  if (!outcome.done) {
    const QString reason = shown(outcome.message + (outcome.message.empty() ? "" : ": ") + outcome.detail);
    return m_message->showFailure(deviceOf(request.device) + QStringLiteral(": ") + reason);
  }
  QStringList mounted;
  for (const auto& [device, folder] : outcome.mounted)
    mounted.append(tr("%1 at %2", "device, folder").arg(deviceOf(device), shown(folder)));
  if (mounted.isEmpty()) mounted.append(deviceOf(request.device));
  m_message->showMessage((request.mounts ? tr("Mounted %1.") : tr("Unmounted %1.")).arg(mounted.join(", ")));
}

void DisksPage::openMountPoint() {
  const DiskRow* const row = current();
  if (!row || row->mountPoints.empty()) return;
  const std::string folder = row->mountPoints.front();
  const bool begins = runInBackground<Result<void>>(
      m_desktop, this, [folder] { return platform().workspace().open(folder); },
      [this, folder](const Result<void>& opened) {
        if (!opened)
          m_message->showFailure(
              tr("%1 could not be opened: %2").arg(shown(folder), shown(opened.error().description)));
      });
  if (!begins) m_message->showFailure(tr("The system is too busy to open %1.").arg(shown(folder)));
}

}  // namespace corvane::inspector
