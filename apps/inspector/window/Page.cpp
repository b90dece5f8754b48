#include "apps/inspector/window/Page.h"

namespace corvane::inspector {

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
