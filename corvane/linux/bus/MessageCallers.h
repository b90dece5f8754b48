#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "corvane/linux/bus/Bus.h"
#include "corvane/platform/MessageListeners.h"

namespace corvane {

/// The callers that have sent something, until they leave the bus. Use it on the thread of the bus.
class MessageCallers {
 public:
  explicit MessageCallers(Bus& bus) : m_bus(bus) {}

  /// Calls `left` once for each caller that identify() has found, when it leaves.
  void whenLeft(std::function<void(const std::string& name)> left) { m_left = std::move(left); }

  /// Who has this unique name now. Asks the bus, and looks at the process.
  MessageCaller identify(const std::string& name);

 private:
  struct Known {
    guint subscription = 0;
    std::optional<std::uint64_t> started;  // the process's start time when it was first seen
    MessageCaller caller;                  // as it was last seen
  };
  void forget(const std::string& name);

  Bus& m_bus;
  std::function<void(const std::string&)> m_left;
  std::map<std::string, Known> m_known;
};

}  // namespace corvane
