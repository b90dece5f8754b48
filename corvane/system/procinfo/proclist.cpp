#include "corvane/system/procinfo/proclist.h"

#include <errno.h>
#include <stdlib.h>

#include <algorithm>
#include <span>
#include <utility>

#include "corvane/platform/Platform.h"
#include "corvane/system/ProcessRecords.h"

using namespace corvane;

namespace {

timeval timevalOf(std::int64_t usec) {
  return {static_cast<time_t>(usec / 1'000'000), static_cast<suseconds_t>(usec % 1'000'000)};
}

// Fills a zeroed record.
void fill(kinfo_proc& record, const ProcessInfo& process, std::int64_t bootTime) {
  extern_proc& own = record.kp_proc;
  own.p_un.p_starttime = timevalOf(startUsec(process, bootTime));
  own.p_flag = bit(process.terminal != 0, P_CONTROLT) | bit(process.kernel, P_SYSTEM) | bit(process.exiting, P_WEXIT) |
               bit(process.executed, P_EXEC) | bit(process.translated, P_TRANSLATED);
  own.p_stat = static_cast<char>(stateNumber(process.state));
  own.p_pid = process.pid;
  own.p_uticks = process.userTime / 1000;
  own.p_sticks = process.systemTime / 1000;
  own.p_rtime = timevalOf(static_cast<std::int64_t>(own.p_uticks + own.p_sticks));
  own.p_priority = static_cast<uint8_t>(std::clamp(process.priority, 0, 255));
  own.p_nice = static_cast<char>(process.nice);
  copyName(process.name, own.p_comm);
  own.p_xstat = static_cast<uint16_t>(process.exitStatus);

  eproc& rest = record.kp_eproc;
  rest.e_ucred.cr_uid = process.uid;
  rest.e_ucred.cr_ngroups = 1;
  rest.e_ucred.cr_groups[0] = process.gid;
  rest.e_ppid = process.parent;
  rest.e_pgid = process.group;
  rest.e_tdev = process.terminal;
  rest.e_tpgid = process.terminalGroup;
  rest.e_flag = bit(process.terminal != 0, EPROC_CTTY) | bit(process.session == process.pid, EPROC_SLEADER);
}

// Records on the C heap, initially zero.
class Records {
 public:
  // Tries to allocate an eighth more than the number, otherwise just the number.
  explicit Records(std::size_t number) : m_capacity(number + number / 8) {
    m_records = static_cast<kinfo_proc*>(calloc(m_capacity, sizeof(kinfo_proc)));
    if (m_records || m_capacity == number) return;
    m_capacity = number;
    m_records = static_cast<kinfo_proc*>(calloc(m_capacity, sizeof(kinfo_proc)));
  }
  ~Records() { free(m_records); }
  Records(const Records&) = delete;
  Records& operator=(const Records&) = delete;

  // A zeroed record after the existing ones; null if memory runs out.
  kinfo_proc* add() {
    if (m_count == m_capacity && !grow()) return nullptr;
    return &m_records[m_count++];
  }

  bool allocated() const { return m_records != nullptr; }
  std::size_t count() const { return m_count; }
  kinfo_proc* release() { return std::exchange(m_records, nullptr); }

 private:
  bool grow() {
    const std::size_t capacity = m_capacity * 2;
    auto* grown = static_cast<kinfo_proc*>(reallocarray(m_records, capacity, sizeof(kinfo_proc)));
    if (!grown) return false;
    std::fill(grown + m_capacity, grown + capacity, kinfo_proc{});
    m_records = grown;
    m_capacity = capacity;
    return true;
  }

  kinfo_proc* m_records;
  std::size_t m_capacity;
  std::size_t m_count = 0;
};

}  // namespace

int32_t proclist_create(proclist_t* list) {
  if (!list) return -1;
  *list = {};
  ProcessTable& table = platform().processTable();
  Records records(std::max<std::size_t>(table.estimate(), 1));
  bool complete = records.allocated();
  if (!complete) return -1;
  const auto listed = table.each([&, bootTime = table.bootTime()](const ProcessInfo& process) {
    kinfo_proc* const record = complete ? records.add() : nullptr;
    if (record)
      fill(*record, process, bootTime);
    else
      complete = false;
  });
  if (!listed) errno = listed.error().code;
  if (!listed || !complete) return -1;
  list->count = static_cast<int32_t>(records.count());
  list->procs = records.release();
  const std::span sorted(list->procs, static_cast<std::size_t>(list->count));
  // On Linux they are already sorted.
  if (!std::ranges::is_sorted(sorted, {}, [](const kinfo_proc& record) { return record.kp_proc.p_pid; }))
    qsort(list->procs, sorted.size(), sizeof(kinfo_proc), compare_pid);
  return 0;
}

void proclist_dispose(proclist_t* list) {
  if (list) free(std::exchange(*list, {}).procs);
}

int32_t proclist_pid(const proclist_t* list, int32_t index) {
  if (!list || !list->procs || index < 0 || index >= list->count) return -1;
  return list->procs[index].kp_proc.p_pid;
}

int32_t proclist_pid_istranslated(const proclist_t* list, int32_t pid) {
  if (!list || !list->procs || list->count == 0) return 0;
  kinfo_proc key{};
  key.kp_proc.p_pid = pid;
  const void* const found =
      bsearch(&key, list->procs, static_cast<std::size_t>(list->count), sizeof(kinfo_proc), compare_pid);
  return found ? static_cast<const kinfo_proc*>(found)->kp_proc.p_flag & P_TRANSLATED : 0;
}

int32_t compare_pid(const void* a, const void* b) {
  return static_cast<const kinfo_proc*>(a)->kp_proc.p_pid - static_cast<const kinfo_proc*>(b)->kp_proc.p_pid;
}
