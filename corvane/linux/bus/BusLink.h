#pragma once

#include <functional>
#include <memory>

#include "corvane/core/Mutex.h"
#include "corvane/linux/Deadline.h"
#include "corvane/linux/bus/Bus.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// A connection to a bus for the rest of the process: it is made when it is first needed, and again after it has ended.
/// Any thread.
class BusLink {
 public:
  explicit BusLink(GBusType type) : m_type(type) {}

  /// What a method answered, and the connection that it was called on.
  struct Answer {
    BusReply reply;
    std::shared_ptr<const Bus> bus;
  };

  /// Bus::call(), on a new connection if the previous one has ended, even if only this call shows it. A connection must
  /// be made in half of the time, so that a bus that never answers leaves some for other ones, and within 5 s.
  Result<Answer> call(const BusMethod& method, GVariant* arguments, const Deadline& deadline);

  /// Bus::callWhile(), on such a connection. `meanwhile` is called in any case.
  Result<Answer> callWhile(const BusMethod& method, GVariant* arguments, const Deadline& deadline,
                           const std::function<void()>& meanwhile);

 private:
  Result<std::shared_ptr<const Bus>> connection(const Deadline& deadline);

  const GBusType m_type;
  Mutex m_mutex;
  std::shared_ptr<const Bus> m_bus CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
