#pragma once

#include <string>

#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// A recording as the JSON object of the trace-event format, which the usual viewers of timelines open: a text without
/// line breaks inside events, one event a line.
///
/// Each span is a complete event ("X") with `ts` and `dur` in microseconds since the earliest one, `cat` ("repeater",
/// "main queue", "main loop", "queue" or "timer") and, if they are known, `args.item`, the type of a serial queue's
/// item, and `args.waited` in microseconds. Spans that have not ended are events "B" without end. `tid` is the number
/// of the thread; it is named "main thread", or otherwise after what it mostly ran. `otherData` tells when the trace
/// begins, in nanoseconds since 1970, and how many spans are lost. Any thread.
CORVANE_API std::string traceJson(const ProgramIdentity& program, const Recording& recording);

}  // namespace corvane
