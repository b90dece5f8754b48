#pragma once

#include <gio/gio.h>
#include <gio/gunixfdlist.h>

#include "corvane/linux/bus/Bus.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Calls a method of the library's root service, which may ask a person, and waits for as long as that takes.
/// `arguments` as for Bus::call().
Result<BusReply> callHelperService(const char* method, const char* replyType, GVariant* arguments,
                                   GUnixFDList* descriptors = nullptr);

}  // namespace corvane
