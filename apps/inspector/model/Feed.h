#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/Repeater.h"

namespace corvane::inspector {

/// Takes samples periodically for as long as it lives: a repeater asks for them, and a serial queue takes them, because
/// that may wait for other processes or for the network. On the main queue only.
template <class Sample>
class Feed {
 public:
  /// Seconds between samples, if they do not take longer.
  static constexpr double INTERVAL = 1;

  /// `sample` is called on the queue, one call at a time, perhaps once more after the feed's end; `taker` with each
  /// sample, on the main queue. `name` is that of the repeater and of the queue.
  Feed(const std::string& name, std::function<Sample()> sample, std::function<void(Sample)> taker)
      : m_sampling(std::make_shared<Sampling>(name, std::move(sample), std::move(taker))),
        m_repeater(std::make_shared<Repeater>(name)) {
    m_repeater->start(INTERVAL, [sampling = m_sampling] {
      if (sampling->busy) return;
      // Without a thread, it is tried again next time.
      sampling->busy = sampling->queue.async([sampling] {
        main_post([sampling, sample = sampling->sample()]() mutable {
          sampling->busy = false;
          if (sampling->take) sampling->take(std::move(sample));
        });
      });
    });
  }

  ~Feed() {
    m_repeater->stop();
    m_sampling->take = {};
  }

  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

 private:
  struct Sampling {
    Sampling(const std::string& name, std::function<Sample()> sampler, std::function<void(Sample)> taker)
        : take(std::move(taker)), sample(std::move(sampler)), queue(name, QoS::USER_INITIATED) {}

    std::function<void(Sample)> take;  // empty once it is no longer needed
    bool busy = false;                 // a sample is being taken
    const std::function<Sample()> sample;
    DispatchQueueSerial queue;
  };

  const std::shared_ptr<Sampling> m_sampling;
  const std::shared_ptr<Repeater> m_repeater;
};

}  // namespace corvane::inspector
