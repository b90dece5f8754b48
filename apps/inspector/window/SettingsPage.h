#pragma once

#include <QSortFilterProxyModel>
#include <string>

#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/SettingsModel.h"
#include "apps/inspector/window/TreeTable.h"
#include "corvane/infra/Subscription.h"

class QLineEdit;
class QListWidget;
class QTimer;

namespace corvane::inspector {

/// The settings of all programs of the user: domains, their keys and values, which can be changed. Changes by other
/// programs are shown at once.
class SettingsPage : public Page {
  Q_OBJECT

 public:
  explicit SettingsPage(Source& source, QWidget* parent = nullptr);

  QLineEdit* searchField() const override { return m_search; }

 protected:
  void appear() override;
  void disappear() override { m_changes.reset(); }
  void refresh() override;

 private:
  void addControls(QVBoxLayout* layout);
  void makeTree();
  void listDomains();
  void showDomain(const std::string& name);
  void listen();
  void read();
  void noteSelection();
  void enter(const QModelIndex& index, const Value& value);
  void add();
  void askToRemove();
  void remove(const QList<QPersistentModelIndex>& rows);
  void copyValue();
  QModelIndexList selectedRows() const;  // of the model

  SettingsModel m_model;
  QSortFilterProxyModel m_filtered;
  QAction* m_add;
  QAction* m_edit;
  QAction* m_remove;
  QAction* m_copyValue;
  MessageBar* m_message;
  QLineEdit* m_search;
  QListWidget* m_domains;
  TreeTable* m_tree;
  QTimer* m_reading;  // soon after a change
  Subscription m_changes;
  bool m_hasFailed = false;  // to read
};

}  // namespace corvane::inspector
