#include "corvane/core/Log.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "corvane/platform/ProgramName.h"

namespace corvane {

namespace {
std::atomic<const LogSink*> s_sink = nullptr;
}

void setLogSink(const LogSink* sink) noexcept {
  s_sink.store(sink, std::memory_order_release);
}

void logLine(std::string_view message) {
  if (const LogSink* sink = s_sink.load(std::memory_order_acquire)) sink->write(message);
}

void logNotice(std::string_view message) {
  const LogSink* sink = s_sink.load(std::memory_order_acquire);
  if (sink && sink->available())
    sink->write(message);
  else
    systemLog(message);
}

void systemLog(std::string_view message) noexcept {
  const std::string_view name = programName();
  std::fprintf(stderr, "%.*s[%d]: %.*s\n", static_cast<int>(name.size()), name.data(), static_cast<int>(getpid()),
               static_cast<int>(message.size()), message.data());
}

}  // namespace corvane
