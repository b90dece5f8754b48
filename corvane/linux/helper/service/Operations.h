#pragma once

#include <cstdint>
#include <string>

#include "corvane/core/Files.h"
#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/bus/Polkit.h"
#include "corvane/linux/helper/service/HelperFiles.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Who calls the service, as the bus vouches for it.
struct ServiceCaller {
  std::string name;  ///< of the connection
  std::uint32_t user = 0;
  bool mayAsk = false;  ///< the caller wants a person to be asked
};

/// What the service does for its callers. Nothing of what they say is believed. The functions wait, for a person or for
/// the owner of a file system; any thread, any number at a time. Errors of the domain "helper" are refusals.
class Operations {
 public:
  explicit Operations(const Bus& bus) : m_bus(bus) {}

  /// Installs the helper that an open file contains. Returns its version.
  Result<std::int64_t> install(const ServiceCaller& caller, const std::string& label, FileDescriptor program);

  Result<void> remove(const ServiceCaller& caller, const std::string& label);

  /// Asks polkit for a right of the caller's that no action declares, or for that to install helpers, with a message of
  /// the caller's.
  Result<void> authorise(const ServiceCaller& caller, const std::string& right, const std::string& prompt);

 private:
  Result<void> mayInstall(const std::string& label, const HelperInfo& info);
  Result<void> ask(const ServiceCaller& caller, std::map<std::string, std::string> details);

  const Bus& m_bus;
  Polkit m_polkit;
};

}  // namespace corvane
