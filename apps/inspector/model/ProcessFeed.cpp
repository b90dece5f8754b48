#include "apps/inspector/model/ProcessFeed.h"

#include <optional>
#include <utility>

#include "apps/inspector/model/ProcessSample.h"
#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/MainQueue.h"

namespace corvane::inspector {

struct ProcessFeed::Sampling {
  Taker take;                             // empty once it is no longer needed
  bool busy = false;                      // a sample is being taken
  std::optional<ProcessSampler> sampler;  // used on the queue
  DispatchQueueSerial queue{"processes", QoS::USER_INITIATED};
};

ProcessFeed::ProcessFeed(Taker taker)
    : m_sampling(std::make_shared<Sampling>()), m_repeater(std::make_shared<Repeater>("process page")) {
  m_sampling->take = std::move(taker);
  m_repeater->start(INTERVAL, [sampling = m_sampling] {
    if (std::exchange(sampling->busy, true)) return;
    sampling->queue.async([sampling] {
      if (!sampling->sampler) sampling->sampler.emplace();
      main_post([sampling, rows = sampling->sampler->sample()]() mutable {
        sampling->busy = false;
        if (sampling->take) sampling->take(std::move(rows));
      });
    });
  });
}

ProcessFeed::~ProcessFeed() {
  m_repeater->stop();
  m_sampling->take = {};
}

}  // namespace corvane::inspector
