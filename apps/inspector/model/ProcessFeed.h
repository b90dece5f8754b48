#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"
#include "corvane/core/Repeater.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// Looks at the processes again and again for as long as it lives: a repeater asks for the samples, a queue off the
/// main one takes them, because names of users may come from afar and machines may have very many processes. On the
/// main queue only.
class ProcessFeed {
 public:
  /// Seconds from one look to the next.
  static constexpr double INTERVAL = 1;

  /// Takes each sample, on the main queue.
  using Taker = std::function<void(Result<std::vector<ProcessRow>>)>;

  explicit ProcessFeed(Taker taker);
  ~ProcessFeed();
  ProcessFeed(const ProcessFeed&) = delete;
  ProcessFeed& operator=(const ProcessFeed&) = delete;

 private:
  struct Sampling;
  const std::shared_ptr<Sampling> m_sampling;
  const std::shared_ptr<Repeater> m_repeater;
};

}  // namespace corvane::inspector
