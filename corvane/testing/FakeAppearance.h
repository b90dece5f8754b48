#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "corvane/platform/Appearance.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// A desktop whose appearance a test sets; at first it says nothing.
class CORVANE_API FakeAppearance : public Appearance {
 public:
  std::shared_ptr<void> watch(std::function<void(DesktopAppearance)> changed) override;

  /// Calls every watcher, on the calling thread.
  void set(DesktopAppearance appearance);

 private:
  std::vector<std::weak_ptr<std::function<void(DesktopAppearance)>>> m_watchers;
};

}  // namespace corvane
