#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>

#include "corvane/core/Mutex.h"
#include "corvane/platform/PreciseTimers.h"

namespace corvane {

/// The activities during which the main queue's thread waits punctually. Any thread.
class Activities {
 public:
  std::uint64_t begin();

  /// Unknown tokens are ignored.
  void end(std::uint64_t token);

 private:
  struct State {
    Mutex mutex;
    std::set<std::uint64_t> tokens CORVANE_GUARDED_BY(mutex);
    std::optional<PreciseTimers> precise CORVANE_GUARDED_BY(mutex);  // used on the main queue
  };

  static inline std::atomic<std::uint64_t> s_last = 0;  // goes on in a child, which may know its parent's tokens

  void update() const;

  const std::shared_ptr<State> m_state = std::make_shared<State>();  // work on the main queue may outlive this
};

}  // namespace corvane
