#pragma once

#include <string_view>

#include "corvane/platform/Export.h"

namespace corvane {

/// Where the library's own lines go. Both functions may be called from any thread at any time, even while the process
/// exits.
struct LogSink {
  void (*write)(std::string_view message);  ///< writes one line
  bool (*available)();                      ///< false if the application keeps no log
};

/// Installs a sink; null removes it. The infrastructure library installs the shared logger when it is loaded. The sink
/// must outlive its use.
CORVANE_API void setLogSink(const LogSink* sink) noexcept;

/// Writes one line to the application's log; without a sink the line is dropped. Callers must not hold a lock of the
/// library.
CORVANE_API void logLine(std::string_view message);

/// Writes one line about the machine (for example, a missing service) to the application's log, or with systemLog() if
/// the application has no log.
CORVANE_API void logNotice(std::string_view message);

/// Writes one line, with the program's name and process id, to standard error: for messages that cannot go to the log.
CORVANE_API void systemLog(std::string_view message) noexcept;

}  // namespace corvane
