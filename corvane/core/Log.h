#pragma once

#include <string_view>

#include "corvane/platform/Export.h"

namespace corvane {

/// Where the library's own lines go. Both are callable from any thread at any time, also while the process exits.
struct LogSink {
  void (*write)(std::string_view message);  ///< writes one line
  bool (*available)();                      ///< false if the application keeps no log
};

/// Puts a sink in place; null takes it away. The infrastructure library puts the shared logger here when it is loaded.
/// The sink must outlive its use.
CORVANE_API void setLogSink(const LogSink* sink) noexcept;

/// Writes one line to the application's log; without a sink the line is dropped. Callers hold no lock of the library.
CORVANE_API void logLine(std::string_view message);

/// Writes one line about the machine (a service that it lacks, say) to the application's log, or with systemLog() if
/// the application keeps none.
CORVANE_API void logNotice(std::string_view message);

/// Writes one line, with the program's name and process id, to standard error: for what the log itself cannot take.
CORVANE_API void systemLog(std::string_view message) noexcept;

}  // namespace corvane
