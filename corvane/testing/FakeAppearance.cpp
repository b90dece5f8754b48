#include "corvane/testing/FakeAppearance.h"

#include <utility>

namespace corvane {

std::shared_ptr<void> FakeAppearance::watch(std::function<void(DesktopAppearance)> changed) {
  auto watcher = std::make_shared<std::function<void(DesktopAppearance)>>(std::move(changed));
  m_watchers.push_back(watcher);
  return watcher;
}

void FakeAppearance::set(DesktopAppearance appearance) {
  const auto watchers = m_watchers;
  for (const auto& weak : watchers)
    if (const auto watcher = weak.lock()) (*watcher)(appearance);
}

}  // namespace corvane
