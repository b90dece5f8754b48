#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"
#include "corvane/core/Repeater.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// Samples the processes periodically for as long as it lives: a repeater asks for the samples, and a serial queue
/// takes them, because user names may come from the network and machines may have very many processes. On the main
/// queue only.
class ProcessFeed {
 public:
  /// Seconds between samples.
  static constexpr double INTERVAL = 1;

  /// Receives each sample, on the main queue.
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
