#include "apps/inspector/window/PageTable.h"

#include <QHeaderView>
#include <algorithm>

#include "corvane/infra/settings/DefaultSettings.h"

namespace corvane::inspector {

PageTable::PageTable(QAbstractItemModel* model, const char* id, const QString& accessibleName,
                     std::initializer_list<int> widths)
    : m_key(std::string("window.columns.") + id) {
  setModel(model);
  setFrameShape(QFrame::NoFrame);
  setAccessibleName(accessibleName);
  int column = 0;
  for (const int width : widths) {
    const int least = horizontalHeader()->sectionSizeHint(column);  // what the title takes in the user's language
    setColumnWidth(column++, std::max(least, width * fontMetrics().averageCharWidth()));
  }
  m_isRestored = restoreState(QString::fromStdString(Defaults.loadString(m_key, "")));
}

void PageTable::hideEvent(QHideEvent* event) {
  TableView::hideEvent(event);
  if (!model()) return;  // the page ends, and its rows have ended before its widgets
  const std::string columns = state().toStdString();
  if (columns != Defaults.loadString(m_key, "")) Defaults.saveString(m_key, columns);
}

}  // namespace corvane::inspector
