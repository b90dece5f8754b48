#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "corvane/core/Mutex.h"
#include "corvane/core/Timeval.h"
#include "corvane/platform/Export.h"
#include "corvane/system/procinfo/procinfo.h"
#include "corvane/system/procinfo/proclist.h"

namespace corvane {

/// A snapshot of the system's processes, sorted by id. The list does not change between two updates: it does not
/// contain processes that were started later, and still contains those that have ended. See corvane/system/PID.h for
/// more about a single process.
///
///     corvane::ProcessList processes;
///     processes.iterate([](const corvane::ProcessList::Process& process) { use(process.id, process.name); });
///
/// Any thread may call any member. isTranslated() and kind() take no lock, so that the body of iterate() can call them;
/// callers must make sure that they do not run during an update() on another thread.
class CORVANE_API ProcessList {
 public:
  /// Takes the first snapshot, as update() does.
  ProcessList();
  ~ProcessList();
  ProcessList(const ProcessList&) = delete;
  ProcessList& operator=(const ProcessList&) = delete;

  /// Replaces the snapshot by a new one. If the system refuses, the list is empty.
  void update() CORVANE_EXCLUDES(m_mutex);

  /// The kind of machine; see process_architecture(). Determined on first use and constant from then on.
  static arch_t architecture();

  /// The number of processes that run translated; 0 unless the architecture is arch_apple.
  int translated() const CORVANE_EXCLUDES(m_mutex);

  /// The data that the list has of a process.
  struct Process {
    std::int32_t id;        ///< its number
    std::int32_t parent;    ///< of the process that started it, or took it over
    uid_t user;             ///< effective
    std::string_view name;  ///< 16 bytes of the short name, in any encoding; valid during the call
    Timeval started;        ///< when it began
    Timeval processorTime;  ///< used so far
  };

  /// Calls `body` with the id of each process (std::int32_t), or with a `const Process&`, ascending by id. The list is
  /// locked meanwhile: a body that calls update(), translated() or iterate() of the same list deadlocks.
  template <class Body>
  void iterate(Body&& body) const CORVANE_EXCLUDES(m_mutex);

  /// Whether a process runs translated; false if it is not in the list.
  bool isTranslated(std::int32_t pid) const CORVANE_NO_THREAD_SAFETY_ANALYSIS;

  /// The kind of code that a process runs: if the architecture is arch_intel, "Intel" for every id; if it is
  /// arch_apple, "Intel" for translated processes and "Apple" for all other ids; otherwise the empty text. These are
  /// fixed names; on Linux, whatever the processor, "Apple" is native code and "Intel" is that of another machine.
  std::string kind(std::int32_t pid) const;

 private:
  static Process processOf(const kinfo_proc& record);

  mutable Mutex m_mutex;
  proclist_t m_processes CORVANE_GUARDED_BY(m_mutex) = {};
};

template <class Body>
void ProcessList::iterate(Body&& body) const {
  MutexLock lock(m_mutex);
  for (std::int32_t i = 0; i < m_processes.count; ++i) {
    const kinfo_proc& record = m_processes.procs[i];
    if constexpr (std::is_invocable_v<Body&, std::int32_t>)
      body(record.kp_proc.p_pid);
    else
      body(processOf(record));
  }
}

}  // namespace corvane
