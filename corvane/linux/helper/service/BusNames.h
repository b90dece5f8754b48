#pragma once

#include <string>

#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/helper/service/RootFolder.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Success if no other service has or may have the name that a label is: neither a file nor a running process of
/// another one claims it.
Result<void> checkUnclaimed(const Bus& bus, const std::string& label);

/// Whether a connection is still there. No is the answer if the bus does not say.
bool isConnected(const Bus& bus, const std::string& name);

/// The user at the other end of a connection.
Result<guint32> userOf(const Bus& bus, const std::string& name);

/// Makes the bus read its files again, and ends the process that owns the label, if it runs this program.
Result<void> applyChange(const Bus& bus, const std::string& label, const FileIdentity* replaced);

}  // namespace corvane
