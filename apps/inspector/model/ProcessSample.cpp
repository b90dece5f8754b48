#include "apps/inspector/model/ProcessSample.h"

#include <errno.h>
#include <limits.h>
#include <pwd.h>
#include <string.h>

#include <array>
#include <span>
#include <system_error>
#include <utility>

#include "corvane/platform/Platform.h"

namespace corvane::inspector {

namespace {

// A snapshot of the process table.
class Snapshot {
 public:
  static Result<Snapshot> take() {
    Snapshot snapshot;
    if (proclist_create(&snapshot.m_list) != 0)
      return failure("posix", errno, "The processes cannot be read: " + std::generic_category().message(errno));
    return snapshot;
  }
  Snapshot(Snapshot&& other) noexcept : m_list(std::exchange(other.m_list, {})) {}
  Snapshot& operator=(Snapshot&&) = delete;
  ~Snapshot() { proclist_dispose(&m_list); }

  std::span<const kinfo_proc> records() const { return {m_list.procs, static_cast<std::size_t>(m_list.count)}; }

 private:
  Snapshot() = default;
  proclist_t m_list{};
};

std::int64_t startOf(const kinfo_proc& record) {
  const timeval& start = record.kp_proc.p_un.p_starttime;
  return std::int64_t{start.tv_sec} * 1'000'000 + start.tv_usec;
}

std::int64_t usedBy(const kinfo_proc& record) {
  return static_cast<std::int64_t>(record.kp_proc.p_uticks + record.kp_proc.p_sticks);
}

char stateLetter(char state) {
  switch (state) {
    case SRUN:
      return 'R';
    case SSLEEP:
      return 'S';
    case SSTOP:
      return 'T';
    case SZOMB:
      return 'Z';
    default:
      return '?';
  }
}

ProcessKind kindOf(const kinfo_proc& record, arch_t architecture) {
  const int flags = record.kp_proc.p_flag;
  return (flags & P_SYSTEM) != 0        ? ProcessKind::KERNEL
         : (flags & P_TRANSLATED) != 0  ? ProcessKind::TRANSLATED
         : architecture == arch_unknown ? ProcessKind::UNKNOWN
                                        : ProcessKind::NATIVE;
}

std::string nameOf(const kinfo_proc& record) {
  const auto& start = record.kp_proc.p_comm;
  constexpr std::size_t LONGEST = sizeof(start) - 1;
  const std::string name(start, strnlen(start, LONGEST));
  if (name.size() < LONGEST) return name;
  std::array<char, sizeof(proc_bsdinfo::pbi_name)> whole{};
  return procinfo_pidname(record.kp_proc.p_pid, whole.data(), whole.size()) > 0 ? whole.data() : name;
}

std::string pathOf(pid_t pid) {
  std::array<char, PATH_MAX> path{};
  return procinfo_pidpath(pid, path.data(), path.size()) > 0 ? path.data() : std::string();
}

}  // namespace

ProcessSampler::ProcessSampler(Clock::time_point now) : m_moment(now) {
  const auto snapshot = Snapshot::take();
  if (!snapshot) return;
  m_before.emplace();
  for (const kinfo_proc& record : snapshot->records())
    m_before->emplace(record.kp_proc.p_pid, Used{startOf(record), usedBy(record)});
}

Result<std::vector<ProcessRow>> ProcessSampler::sample(Clock::time_point now, std::optional<pid_t> only) {
  const auto snapshot = Snapshot::take();
  if (!snapshot) return tl::unexpected(snapshot.error());
  m_interval = now - m_moment;
  std::vector<ProcessRow> rows;
  Usage usage;
  for (const kinfo_proc& record : snapshot->records()) {
    ProcessRow row;
    row.pid = record.kp_proc.p_pid;
    row.started = startOf(record);
    row.processorUsec = usedBy(record);
    usage.emplace(row.pid, Used{row.started, row.processorUsec});
    if (only && row.pid != *only) continue;
    proc_taskinfo task{};
    if (procinfo_taskinfo(row.pid, &task) != 0) continue;  // it has ended
    row.parent = record.kp_eproc.e_ppid;
    row.uid = record.kp_eproc.e_ucred.cr_uid;
    row.user = userName(row.uid);
    row.state = stateLetter(record.kp_proc.p_stat);
    row.kind = kindOf(record, m_architecture);
    row.name = nameOf(record);
    if (row.kind != ProcessKind::KERNEL) {
      row.path = pathOf(row.pid);
      row.arguments = platform().processTable().arguments(row.pid).value_or(std::vector<std::string>());
    }
    row.processor = share(row);
    row.memory = task.pti_resident_size;
    row.threads = task.pti_threadnum;
    rows.push_back(std::move(row));
  }
  m_moment = now;
  m_before = std::move(usage);
  return rows;
}

std::optional<double> ProcessSampler::share(const ProcessRow& row) const {
  if (!m_before || m_interval < SHORTEST) return std::nullopt;
  const auto before = m_before->find(row.pid);
  const bool known = before != m_before->end() && before->second.started == row.started;
  // A new process has used all of its time since then.
  const std::int64_t usec = row.processorUsec - (known ? before->second.usec : 0);
  return static_cast<double>(usec) / (m_interval.count() * 1e6) * 100;
}

const std::string& ProcessSampler::userName(uid_t uid) {
  const auto [known, isNew] = m_users.try_emplace(uid);
  if (!isNew) return known->second;
  passwd entry{};
  passwd* found = nullptr;
  std::array<char, 16384> texts;
  const bool named = getpwuid_r(uid, &entry, texts.data(), texts.size(), &found) == 0 && found;
  return known->second = named ? found->pw_name : std::to_string(uid);
}

}  // namespace corvane::inspector
