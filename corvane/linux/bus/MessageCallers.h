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
  /// Calls `left` once for each caller that identify() has found there, when it leaves.
  MessageCallers(Bus& bus, std::function<void(const std::string& name)> left);

  /// Who has this unique name now. Asks the bus, and looks at the process.
  MessageCaller identify(const std::string& name);

 private:
  struct Known {
    std::optional<std::uint64_t> started;  // the process's start time when it was first seen
    MessageCaller caller;                  // as it was last seen
  };

  Bus& m_bus;
  std::map<std::string, Known> m_known;
};

}  // namespace corvane
