#include "corvane/linux/bus/BusLink.h"

#include <algorithm>
#include <utility>

namespace corvane {

namespace {

// The limit for making a connection, even when a call may last for ever.
Deadline connecting(const Deadline& deadline) {
  return Deadline(std::min(Deadline::LIMIT, std::chrono::milliseconds(deadline.msec() / 2)));
}

bool isClosed(const std::shared_ptr<const Bus>& bus) {
  return g_dbus_connection_is_closed(bus->connection()) != FALSE;
}

}  // namespace

Result<std::shared_ptr<const Bus>> BusLink::connection(const Deadline& deadline) {
  MutexLock lock(m_mutex);
  if (m_bus && !isClosed(m_bus)) return m_bus;
  lock.unlock();
  auto made = Bus::connect(m_type, deadline);
  if (!made) return tl::unexpected<Error>(made.error());
  std::shared_ptr<const Bus> bus = std::move(*made);
  lock.lock();
  // Another thread may have been faster.
  if (!m_bus || isClosed(m_bus)) m_bus.swap(bus);
  const auto current = m_bus;
  lock.unlock();  // before the other connection is closed
  return current;
}

Result<BusLink::Answer> BusLink::call(const BusMethod& method, GVariant* arguments, const Deadline& deadline) {
  const glib::Ptr<GVariant> owner(arguments ? g_variant_ref_sink(arguments) : nullptr);
  for (int attempt = 1;; ++attempt) {
    const auto bus = connection(connecting(deadline));
    if (!bus) return tl::unexpected<Error>(bus.error());
    auto reply = (*bus)->call(method, arguments, deadline);
    if (reply) return Answer{std::move(*reply), *bus};
    if (attempt == 2 || !isClosed(*bus)) return tl::unexpected<Error>(reply.error());
  }
}

Result<BusLink::Answer> BusLink::callWhile(const BusMethod& method, GVariant* arguments, const Deadline& deadline,
                                           const std::function<void()>& meanwhile) {
  const glib::Ptr<GVariant> owner(arguments ? g_variant_ref_sink(arguments) : nullptr);
  const auto bus = connection(connecting(deadline));
  if (!bus) {
    meanwhile();
    return tl::unexpected<Error>(bus.error());
  }
  auto reply = (*bus)->callWhile(method, arguments, deadline, meanwhile);
  if (reply) return Answer{std::move(*reply), *bus};
  if (isClosed(*bus)) return call(method, arguments, deadline);
  return tl::unexpected<Error>(reply.error());
}

}  // namespace corvane
