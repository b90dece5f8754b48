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

  /// `sample` is called and destroyed on the queue, one call at a time, perhaps once more after the feed's end; `taker`
  /// with each sample, on the main queue. `name` is that of the repeater, and of the queue unless one is given.
  Feed(const std::string& name, std::function<Sample()> sample, std::function<void(Sample)> taker,
       std::shared_ptr<DispatchQueueSerial> queue = nullptr)
      : m_sampling(std::make_shared<Sampling>(
            std::move(taker), std::move(sample),
            queue ? std::move(queue) : std::make_shared<DispatchQueueSerial>(name, QoS::USER_INITIATED))),
        m_repeater(std::make_shared<Repeater>(name)) {
    m_repeater->start(INTERVAL, [sampling = m_sampling] {
      if (!sampling->busy) begin(sampling);
    });
  }

  ~Feed() {
    m_repeater->stop();
    m_sampling->take = {};
    m_sampling->queue->async([sampling = m_sampling] { sampling->sample = {}; });
  }

  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  /// Takes a sample of what holds now, apart from the periodic ones.
  void sampleNow() {
    if (m_sampling->busy)
      m_sampling->again = true;
    else
      begin(m_sampling);
  }

 private:
  struct Sampling {
    std::function<void(Sample)> take;  // empty once it is no longer needed
    std::function<Sample()> sample;    // on the queue
    const std::shared_ptr<DispatchQueueSerial> queue;
    bool busy = false;   // a sample is being taken
    bool again = false;  // and another one is wanted after it

    Sampling(std::function<void(Sample)> taker, std::function<Sample()> sampler,
             std::shared_ptr<DispatchQueueSerial> itsQueue)
        : take(std::move(taker)), sample(std::move(sampler)), queue(std::move(itsQueue)) {}
  };

  static void begin(const std::shared_ptr<Sampling>& sampling) {
    // Without a thread, it is tried again next time.
    sampling->busy = sampling->queue->async([sampling] {
      if (!sampling->sample) return;
      main_post([sampling, sample = sampling->sample()]() mutable {
        sampling->busy = false;
        if (sampling->take) sampling->take(std::move(sample));
        if (sampling->take && std::exchange(sampling->again, false)) begin(sampling);
      });
    });
  }

  const std::shared_ptr<Sampling> m_sampling;
  const std::shared_ptr<Repeater> m_repeater;
};

/// Calls `work` on the queue and passes on what it returns to `taker` on the main queue, if the result still lives
/// then. Without a thread, that is `refused`.
template <class Outcome>
std::shared_ptr<void> askOnce(DispatchQueueSerial& queue, std::function<Outcome()> work,
                              std::function<void(Outcome)> taker, Outcome refused) {
  const auto wanted = std::make_shared<std::function<void(Outcome)>>(std::move(taker));
  const auto pass = [weak = std::weak_ptr(wanted)](Outcome outcome) {
    main_post([weak, outcome = std::move(outcome)]() mutable {
      if (const auto take = weak.lock()) (*take)(std::move(outcome));
    });
  };
  if (!queue.async([work = std::move(work), pass] { pass(work()); })) pass(std::move(refused));
  return wanted;
}

}  // namespace corvane::inspector
