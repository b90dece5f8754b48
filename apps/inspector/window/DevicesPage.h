#pragma once

#include <QString>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "apps/inspector/model/DeviceTree.h"
#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/PageTable.h"
#include "apps/inspector/window/RowTree.h"
#include "apps/inspector/window/TreeTable.h"
#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/ui/RowModel.h"

class QComboBox;
class QLineEdit;

namespace corvane::inspector {

/// The tree of devices of a class, and what the system knows about the selected one. It is read in the background: when
/// the page is seen first, when another class is chosen, and when the user asks for it.
class DevicesPage : public Page {
  Q_OBJECT

 public:
  explicit DevicesPage(Source& source, QWidget* parent = nullptr);

  QLineEdit* searchField() const override { return m_search; }

  /// Shows the devices of a class.
  void setClass(const QString& name);

 protected:
  void appear() override;

 private:
  struct PathOf {
    const std::string& operator()(const DeviceRow& row) const { return row.path; }
  };
  struct Property {
    std::string key;
    QString value;
  };
  struct KeyOf {
    const std::string& operator()(const Property& property) const { return property.key; }
  };

  static std::vector<RowColumn<DeviceRow>> columns();
  static std::vector<RowColumn<Property>> propertyColumns();
  void addControls(QVBoxLayout* layout);
  void read();
  void take(std::vector<DeviceRow> rows, const std::string& className);
  void showProperties();
  void findNext();

  RowTree<DeviceRow, PathOf> m_model;
  RowModel<Property, KeyOf> m_properties;
  QAction* m_refresh;
  QComboBox* m_class;
  QLineEdit* m_search;
  MessageBar* m_message;
  TreeTable* m_tree;
  PageTable* m_table;
  std::string m_shownClass;
  bool m_isReading = false;
  bool m_isOutdated = true;          // what is shown is to be read, or read again
  std::set<std::string> m_unfolded;  // paths of what was unfolded once
  DispatchQueueSerial m_queue{"devices page", QoS::USER_INITIATED};
};

}  // namespace corvane::inspector
