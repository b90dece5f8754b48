#include "apps/inspector/window/DevicesPage.h"

#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QSplitter>
#include <array>

#include "apps/inspector/text/DeviceText.h"
#include "apps/inspector/window/Background.h"
#include "apps/inspector/window/Shown.h"
#include "apps/inspector/window/ValueText.h"

namespace corvane::inspector {

namespace {

constexpr char ALL[] = "IOService";
constexpr std::array CLASSES = {ALL,     "IOMedia", "IODisplayConnect", "block", "drm",   "input",
                                "net",   "pci",     "power_supply",     "scsi",  "sound", "usb_device",
                                "virtio"};
constexpr std::size_t FEW = 500;  // devices: more are not unfolded at once

}  // namespace

std::vector<RowColumn<DeviceRow>> DevicesPage::columns() {
  using Row = DeviceRow;
  // Those that are there only because of others below them step back.
  const auto other = [](const Row& row, int role) -> QVariant {
    return role == Qt::ForegroundRole && !row.matches
               ? QVariant(QPalette().color(QPalette::Disabled, QPalette::WindowText))
               : QVariant();
  };
  return {
      {.id = "device", .title = tr("Device"), .text = [](const Row& row) { return shown(row.name); }, .other = other},
      {.id = "class",
       .title = tr("Class"),
       .text = [](const Row& row) { return shownOrDash(row.className); },
       .other = other},
      {.id = "description",
       .title = tr("Description"),
       .text = [](const Row& row) { return shown(deviceDescription(row)); },
       .other = other},
  };
}

std::vector<RowColumn<DevicesPage::Property>> DevicesPage::propertyColumns() {
  return {
      {"property", tr("Property"), [](const Property& property) { return shown(property.key); },
       [](const Property& a, const Property& b) { return a.key < b.key; }},
      {"value", tr("Value"), [](const Property& property) { return property.value; },
       [](const Property& a, const Property& b) { return a.value < b.value; }},
  };
}

DevicesPage::DevicesPage(Source& source, QWidget* parent)
    : Page(source, parent),
      m_model(columns()),
      m_properties(propertyColumns()),
      m_refresh(newAction(this, tr("&Read Again"), QKeySequence(QKeySequence::Refresh))),
      m_class(new QComboBox),
      m_search(new QLineEdit),
      m_message(new MessageBar),
      m_tree(new TreeTable(tr("Devices"))),
      m_table(new PageTable(&m_properties, "devices", tr("Properties of the device"), {40})) {
  m_tree->setModel(&m_model);
  m_tree->setSelectionMode(QAbstractItemView::SingleSelection);
  m_tree->setColumnWidth(0, fontMetrics().averageCharWidth() * 40);
  m_tree->setColumnWidth(1, fontMetrics().averageCharWidth() * 20);
  m_tree->addAction(m_refresh);
  m_table->setPlaceholderText(tr("Select a device to see its properties."));
  QVBoxLayout* const layout = pageLayout(this);
  addControls(layout);
  layout->addWidget(m_message);
  auto* const parts = new QSplitter(Qt::Vertical);
  parts->addWidget(m_tree);
  parts->addWidget(m_table);
  parts->setChildrenCollapsible(false);
  parts->setStretchFactor(0, 3);
  parts->setStretchFactor(1, 2);
  layout->addWidget(parts);
  setFocusProxy(m_tree);
  connect(m_refresh, &QAction::triggered, this, &DevicesPage::read);
  connect(m_tree->selectionModel(), &QItemSelectionModel::selectionChanged, this, &DevicesPage::showProperties);
}

void DevicesPage::addControls(QVBoxLayout* layout) {
  QHBoxLayout* const bar = addBar(layout);
  auto* const label = new QLabel(tr("&Class"));
  label->setBuddy(m_class);
  m_class->setEditable(true);
  m_class->setInsertPolicy(QComboBox::NoInsert);
  for (const char* const name : CLASSES) m_class->addItem(QLatin1String(name));
  m_class->setAccessibleName(tr("Class of devices"));
  m_class->setToolTip(tr("A type, a subsystem or a driver; IOService stands for all devices"));
  m_search->setPlaceholderText(tr("Search"));
  m_search->setAccessibleName(tr("Search for a device"));
  m_search->setClearButtonEnabled(true);
  m_search->setMaximumWidth(fontMetrics().averageCharWidth() * 40);
  bar->addWidget(label);
  bar->addWidget(m_class);
  bar->addWidget(buttonFor(m_refresh));
  bar->addStretch();
  bar->addWidget(m_search, 1);
  QAction* const next = newAction(this, tr("Find &Next"), QKeySequence(QKeySequence::FindNext));
  connect(next, &QAction::triggered, this, &DevicesPage::findNext);
  connect(m_search, &QLineEdit::returnPressed, this, &DevicesPage::findNext);
  connect(m_class, &QComboBox::textActivated, this, &DevicesPage::setClass);
  connect(m_class->lineEdit(), &QLineEdit::returnPressed, this, [this] { setClass(m_class->currentText()); });
}

void DevicesPage::setClass(const QString& name) {
  m_class->setEditText(name.trimmed());
  m_isOutdated = true;
  read();
}

void DevicesPage::appear() {
  m_isOutdated = true;
  read();
}

void DevicesPage::read() {
  m_isOutdated = true;
  if (m_isReading) return;  // and then again
  const std::string name = m_class->currentText().toStdString();
  m_isOutdated = false;
  m_isReading = runInBackground<std::vector<DeviceRow>>(
      m_queue, this, [name] { return deviceTree(name); },
      [this, name](std::vector<DeviceRow> rows) { take(std::move(rows), name); });
  m_tree->setPlaceholderText(m_isReading ? tr("Reading the devices…")
                                         : tr("The system is too busy to read the devices."));
}

void DevicesPage::take(std::vector<DeviceRow> rows, const std::string& className) {
  m_isReading = false;
  if (m_isOutdated) return read();
  m_tree->setPlaceholderText(tr("There is no device of the class “%1”.").arg(shown(className)));
  if (className != m_shownClass) m_unfolded.clear();
  m_shownClass = className;
  m_model.setRows(std::move(rows));
  const bool unfoldsAll = m_model.rows().size() <= FEW;
  for (const DeviceRow& row : m_model.rows())
    if (m_unfolded.insert(row.path).second && (unfoldsAll || row.depth == 0)) m_tree->expand(m_model.find(row.path));
  showProperties();
}

void DevicesPage::showProperties() {
  const QModelIndexList selected = m_tree->selectionModel()->selectedRows();
  const DeviceRow* const row = selected.isEmpty() ? nullptr : m_model.at(selected.front());
  std::vector<Property> properties;
  if (row)
    for (const Value::Dictionary* const all : {&row->properties, &row->display})
      for (const auto& [key, value] : *all) {
        const Value* const nested = value.find("en_US");  // of a display's name
        properties.push_back({key, valueText(nested ? *nested : value)});
      }
  m_properties.setRows(std::move(properties));
}

// After the current row, and then from the first one.
void DevicesPage::findNext() {
  const QString text = m_search->text().trimmed();
  const auto& rows = m_model.rows();
  if (text.isEmpty()) return find();
  m_message->clear();
  const DeviceRow* const current = m_model.at(m_tree->currentIndex());
  const std::size_t start = current ? static_cast<std::size_t>(current - rows.data()) + 1 : 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const QModelIndex index = m_model.find(rows[(start + i) % rows.size()].path);
    for (int column = 0; column < m_model.columnCount(); ++column) {
      if (!index.siblingAtColumn(column).data().toString().contains(text, Qt::CaseInsensitive)) continue;
      m_tree->setCurrentIndex(index);
      return m_tree->scrollTo(index);
    }
  }
  m_message->showMessage(tr("“%1” was not found.").arg(text));
}

}  // namespace corvane::inspector
