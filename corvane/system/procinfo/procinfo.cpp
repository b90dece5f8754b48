#include "corvane/system/procinfo/procinfo.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <string_view>

#include "corvane/platform/Platform.h"
#include "corvane/system/ProcessRecords.h"

using namespace corvane;

namespace {

constexpr std::size_t MAX_PIDS = 8192;  // considered in a look-up by name

ProcessTable& table() {
  return platform().processTable();
}

// -1, with errno.
int32_t failed(const Error& error) {
  errno = error.code;
  return -1;
}

// A text with its NUL; its length, or 0 if it does not fit.
int32_t store(std::string_view text, char* buffer, uint32_t size) {
  if (text.size() >= size) {
    errno = ENOMEM;
    return 0;
  }
  *std::copy(text.begin(), text.end(), buffer) = '\0';
  return static_cast<int32_t>(text.size());
}

// If a process can be read in part, the rest is zero; a process that no longer exists is an error.
template <class T>
Result<T> orZero(Result<T> value) {
  if (!value && value.error().code != ESRCH) return T{};
  return value;
}

int32_t limited(std::uint64_t number) {
  return static_cast<int32_t>(std::min<std::uint64_t>(number, std::numeric_limits<int32_t>::max()));
}

uint32_t pages(std::uint64_t bytes) {
  return static_cast<uint32_t>(bytes / static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
}

// The data for most records.
struct Reading {
  ProcessInfo process;
  ProcessDetails details;

  std::uint64_t residentBytes() const {
    return details.residentBytes > 0 ? details.residentBytes : process.residentBytes;
  }
};

Result<Reading> read(pid_t pid) {
  auto process = table().process(pid);
  if (!process) return tl::unexpected(process.error());
  return orZero(table().details(pid)).map([&](const ProcessDetails& details) {
    return Reading{std::move(*process), details};
  });
}

proc_bsdinfo bsdInfo(const Reading& reading) {
  const auto& [process, details] = reading;
  proc_bsdinfo info{};
  info.pbi_flags = static_cast<uint32_t>(
      bit(process.kernel, PROC_FLAG_SYSTEM) | bit(details.tracer != 0, PROC_FLAG_TRACED) |
      bit(process.exiting, PROC_FLAG_INEXIT) | bit(process.session == process.pid, PROC_FLAG_SLEADER) |
      bit(process.terminal != 0, PROC_FLAG_CONTROLT) | bit(process.executed, PROC_FLAG_EXEC));
  info.pbi_status = static_cast<uint32_t>(stateNumber(process.state));
  info.pbi_xstatus = static_cast<uint32_t>(process.exitStatus);
  info.pbi_pid = static_cast<uint32_t>(process.pid);
  info.pbi_ppid = static_cast<uint32_t>(process.parent);
  info.pbi_uid = process.uid;
  info.pbi_gid = process.gid;
  info.pbi_ruid = details.realUid;
  info.pbi_rgid = details.realGid;
  info.pbi_svuid = details.savedUid;
  info.pbi_svgid = details.savedGid;
  copyName(process.name, info.pbi_comm);
  copyName(process.name, info.pbi_name);
  info.pbi_nfiles = static_cast<uint32_t>(table().descriptors(process.pid).value_or(0));
  info.pbi_pgid = static_cast<uint32_t>(process.group);
  info.e_tdev = static_cast<uint32_t>(process.terminal);
  info.e_tpgid = static_cast<uint32_t>(process.terminalGroup);
  info.pbi_nice = process.nice;
  const std::int64_t start = startUsec(process, table().bootTime());
  info.pbi_start_tvsec = static_cast<uint64_t>(start / 1'000'000);
  info.pbi_start_tvusec = static_cast<uint64_t>(start % 1'000'000);
  return info;
}

proc_taskinfo taskInfo(const Reading& reading) {
  const auto& [process, details] = reading;
  proc_taskinfo info{};
  info.pti_virtual_size = process.virtualBytes;
  info.pti_resident_size = reading.residentBytes();
  info.pti_total_user = process.userTime;
  info.pti_total_system = process.systemTime;
  info.pti_policy = process.policy;
  info.pti_faults = limited(process.minorFaults + process.majorFaults);
  info.pti_pageins = limited(process.majorFaults);
  info.pti_csw = limited(details.contextSwitches);
  info.pti_threadnum = process.threads;
  info.pti_numrunning = process.state == ProcessState::RUNNING ? 1 : 0;
  info.pti_priority = process.priority;
  return info;
}

template <class Record>
int32_t hand(const Result<Record>& record, Record* out) {
  if (!record) return failed(record.error());
  *out = *record;
  return 0;
}

using Name = decltype(proc_bsdinfo::pbi_name);
using ShortName = decltype(extern_proc::p_comm);

// As much of a name as a member of a record keeps.
template <class Member>
std::string_view kept(std::string_view name) {
  return name.substr(0, sizeof(Member) - 1);
}

}  // namespace

int32_t procinfo_pidpath(int32_t pid, char* buffer, uint32_t size) {
  if (!buffer || size < 1) return 0;
  buffer[0] = '\0';
  const auto path = table().path(pid);
  if (path) return store(*path, buffer, size);
  failed(path.error());
  return 0;
}

int32_t procinfo_name(const proc_bsdinfo* info, char* out) {
  const std::size_t length = strnlen(info->pbi_name, sizeof info->pbi_name);
  memcpy(out, info->pbi_name, length);
  out[length] = '\0';
  return static_cast<int32_t>(length);
}

int32_t procinfo_pidname(int32_t pid, char* buffer, uint32_t size) {
  if (!buffer || size < 1) return 0;
  buffer[0] = '\0';
  const auto process = table().process(pid);
  if (process) return store(kept<Name>(process->name), buffer, size);
  failed(process.error());
  return 0;
}

int32_t procinfo_rusage(int32_t pid, rusage_info_v3* out) {
  if (!out) return -1;
  *out = {};
  const auto reading = read(pid);
  if (!reading) return failed(reading.error());
  const auto& [process, details] = *reading;
  const auto disk = orZero(table().diskBytes(pid));
  if (!disk) return failed(disk.error());
  out->ri_user_time = process.userTime;
  out->ri_system_time = process.systemTime;
  out->ri_pageins = process.majorFaults;
  out->ri_wired_size = details.lockedBytes;
  out->ri_resident_size = reading->residentBytes();
  out->ri_phys_footprint = details.anonymousBytes;
  out->ri_proc_start_abstime = process.started;
  out->ri_child_user_time = process.childUserTime;
  out->ri_child_system_time = process.childSystemTime;
  out->ri_child_pageins = process.childMajorFaults;
  out->ri_diskio_bytesread = disk->read;
  out->ri_diskio_byteswritten = disk->written;
  return 0;
}

int32_t procinfo_allpids(int32_t* pids, int32_t capacity) {
  const std::size_t room = pids && capacity > 0 ? static_cast<std::size_t>(capacity) : 0;
  const auto count = table().pids({pids, room});
  if (!count) return failed(count.error());
  return static_cast<int32_t>(pids ? std::min(*count, room) : *count);
}

int32_t procinfo_pidinfo(int32_t pid, proc_bsdinfo* out) {
  const auto info = read(pid).map(bsdInfo);
  if (!out) return -1;
  *out = {};
  return hand(info, out);
}

int32_t procinfo_pidsforname(const char* name, int32_t* pids, int32_t capacity) {
  if (!name || !*name || !pids || capacity < 1) return 0;
  std::size_t considered = 0;
  int32_t found = 0;
  static_cast<void>(table().eachName([&](pid_t pid, std::string_view its) {
    if (kept<Name>(its) == name) pids[found++] = pid;
    return ++considered < MAX_PIDS;
  }));
  return found;
}

int32_t procinfo_pidfiles(int32_t pid, procinfo_files* context) {
  const auto listed = table().openFiles(pid, [context](int descriptor, const char* path) {
    if (context && context->callback) context->callback(context, descriptor, path);
  });
  return listed ? -1 : failed(listed.error());
}

int32_t procinfo_regioninfo(int32_t pid, proc_regioninfo* out) {
  if (!out) return -1;
  return hand(table().region(pid, 0).map([](const MemoryRegion& region) {
    proc_regioninfo info{};
    info.pri_protection =
        static_cast<uint32_t>(bit(region.readable, VM_PROT_READ) | bit(region.writable, VM_PROT_WRITE) |
                              bit(region.executable, VM_PROT_EXECUTE));
    info.pri_offset = region.offset;
    info.pri_pages_resident = pages(region.residentBytes);
    info.pri_pages_swapped_out = pages(region.swappedBytes);
    info.pri_pages_dirtied = pages(region.dirtyBytes);
    info.pri_share_mode = region.shared ? SM_SHARED : region.file ? SM_COW : SM_PRIVATE;
    info.pri_shared_pages_resident = pages(region.sharedBytes);
    info.pri_private_pages_resident = pages(region.residentBytes - std::min(region.sharedBytes, region.residentBytes));
    info.pri_address = region.address;
    info.pri_size = region.size;
    return info;
  }),
              out);
}

int32_t procinfo_taskinfo(int32_t pid, proc_taskinfo* out) {
  return out ? hand(read(pid).map(taskInfo), out) : -1;
}

int32_t procinfo_taskallinfo(int32_t pid, proc_taskallinfo* out) {
  if (!out) return -1;
  const auto both = [](const Reading& reading) { return proc_taskallinfo{bsdInfo(reading), taskInfo(reading)}; };
  return hand(read(pid).map(both), out);
}

int32_t procinfo_private(int32_t pid) {
  return table().process(pid) ? 0 : 1;
}

int32_t procinfo_isrunning(int32_t pid) {
  const auto process = table().process(pid);
  if (process) return process->state == ProcessState::ZOMBIE ? -1 : 0;
  failed(process.error());
  if (process.error().code != ESRCH) perror("sysctl");
  return -1;
}

int32_t procinfo_pidforname(const char* name) {
  if (!name || !*name) return -1;
  int32_t found = -1;
  const auto listed = table().eachName([&](pid_t pid, std::string_view its) {
    if (kept<ShortName>(its) == kept<ShortName>(name)) found = pid;
    return found < 0;
  });
  return listed ? found : failed(listed.error());
}

arch_t process_architecture(void) {
  const auto translates = table().translates();
  if (!translates) return arch_unknown;
  return *translates ? arch_apple : arch_intel;
}
