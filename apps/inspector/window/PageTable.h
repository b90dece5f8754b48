#pragma once

#include <QAbstractItemModel>
#include <initializer_list>
#include <string>

#include "corvane/ui/TableView.h"

namespace corvane::inspector {

/// A page's table, whose columns are remembered in the program's settings.
class PageTable : public TableView {
  Q_OBJECT

 public:
  /// `id` is that of the page, `widths` those of the first columns at first, in characters. The model must outlive the
  /// table.
  PageTable(QAbstractItemModel* model, const char* id, const QString& accessibleName,
            std::initializer_list<int> widths);

  /// Whether the columns were restored from the settings.
  bool isRestored() const { return m_isRestored; }

 protected:
  void hideEvent(QHideEvent* event) override;

 private:
  const std::string m_key;
  bool m_isRestored = false;
};

}  // namespace corvane::inspector
