#include "corvane/infra/Diagnostics.h"

#include <errno.h>

#include <cmath>
#include <memory>
#include <optional>
#include <utility>

#include "corvane/core/Activity.h"
#include "corvane/core/Files.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/PerProcess.h"
#include "corvane/infra/Trace.h"
#include "corvane/infra/diagnostics/ThisProgram.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

constexpr auto EVERYTHING = Diagnostics::Control | Diagnostics::SettingValues;

struct State {
  const std::shared_ptr<ThisProgram> shown = std::make_shared<ThisProgram>(Diagnostics::LookOnly);
  const std::shared_ptr<ThisProgram> own = std::make_shared<ThisProgram>(EVERYTHING);
  Mutex mutex;
  std::shared_ptr<void> opened CORVANE_GUARDED_BY(mutex);  // the port, while others may look
  std::optional<Activity::Watch> watch CORVANE_GUARDED_BY(mutex);
  double seconds CORVANE_GUARDED_BY(mutex) = 0;
};

// Never destroyed: a trace may be written while the process exits.
State& state() {
  static auto& states = *new PerProcess<State>;
  return states();
}

// Nobody must look at objects of the program that exit() has destroyed.
struct StopAtExit {
  ~StopAtExit() { Diagnostics::stop(); }
};

}  // namespace

Result<void> Diagnostics::start(Permissions permissions) {
  State& current = state();
  static const StopAtExit stopAtExit;
  MutexLock lock(current.mutex);
  current.shown->allow(permissions);
  if (current.opened) return {};
  return platform()
      .diagnosticsPort()
      .open(current.shown)
      .map([&](std::shared_ptr<void> opened) CORVANE_REQUIRES(current.mutex) { current.opened = std::move(opened); });
}

void Diagnostics::stop() {
  State& current = state();
  std::shared_ptr<void> opened;  // closed without the lock
  MutexLock lock(current.mutex);
  opened = std::move(current.opened);
}

Result<void> Diagnostics::record(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0) return systemFailure(EINVAL);
  State& current = state();
  MutexLock lock(current.mutex);
  current.seconds = seconds;
  if (seconds == 0)
    current.watch.reset();
  else if (!current.watch)
    current.watch.emplace();
  return {};
}

std::string Diagnostics::trace() {
  State& current = state();
  MutexLock lock(current.mutex);
  const double seconds = current.seconds;
  lock.unlock();
  const auto recorded = seconds > 0 ? current.own->recording(seconds) : Recording();
  return traceJson(current.own->identity().value(), recorded.value());
}

std::shared_ptr<Inspectable> Diagnostics::program() {
  return state().own;
}

}  // namespace corvane
