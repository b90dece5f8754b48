#include "apps/inspector/window/Page.h"

#include <QLineEdit>

namespace corvane::inspector {

void Page::find() const {
  QLineEdit* const field = searchField();
  if (!field) return;
  field->setFocus(Qt::ShortcutFocusReason);
  field->selectAll();
}

void Page::setSeen(bool isSeen) {
  if (isSeen == m_isSeen) return;
  m_isSeen = isSeen;
  if (!isSeen) return disappear();
  appear();
  refresh();
}

void Page::tick() {
  if (m_isSeen) refresh();
}

}  // namespace corvane::inspector
