#include "corvane/ui/ThemeChanged.h"

#include <utility>

#include "corvane/core/MainQueue.h"
#include "corvane/ui/AppearanceWatcher.h"

namespace corvane {

ThemeChanged::ThemeChanged(std::function<void()> notifier)
    : m_notifier(std::make_shared<const std::function<void()>>(std::move(notifier))),
      m_connection(
          QObject::connect(&AppearanceWatcher::shared(), &AppearanceWatcher::changed, [this] { themeChanged(); })) {}

ThemeChanged::~ThemeChanged() {
  QObject::disconnect(m_connection);
}

void ThemeChanged::themeChanged() const {
  main_post([weak = std::weak_ptr(m_notifier)] {
    if (const auto notifier = weak.lock(); notifier && *notifier) (*notifier)();
  });
}

}  // namespace corvane
