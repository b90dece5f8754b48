#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/platform/ProcessTable.h"

namespace corvane {

/// Readers of the texts in /proc. They accept any bytes, and answer none for what the kernel would not have written.

/// What the numbers of a stat file count.
struct ProcessUnits {
  std::uint64_t tickNsec = 10'000'000;
  std::uint64_t pageBytes = 4096;
};

/// /proc/PID/stat: everything that it tells; the user and the group are not in it. False also for the text of a thread
/// that is not its process's first: /proc has those by their numbers too, though it does not list them.
bool readProcessStat(std::string_view text, const ProcessUnits& units, ProcessInfo& info);

/// /proc/PID/status
std::optional<ProcessDetails> readProcessStatus(std::string_view text);

/// /proc/PID/io
std::optional<DiskBytes> readProcessIo(std::string_view text);

/// /proc/PID/cgroup: the innermost unit that is named as those of applications are, app-….scope or app-….service; empty
/// if the process is in none.
std::string_view applicationUnit(std::string_view text);

/// The identifiers of the application that such a unit may have its name from, app-[LAUNCHER-]ID-RANDOM.scope or
/// app-[LAUNCHER-]ID[@RANDOM].service: the longest first, for some launchers do not escape what is in an identifier.
std::vector<std::string> applicationIdentifiers(std::string_view unit);

/// /proc/PID/cmdline: the arguments, each of which ends with a zero byte; the last may lack it.
std::vector<std::string> argumentsOf(std::string_view text);

/// /proc/PID/environ: the value of a variable.
std::optional<std::string_view> environmentValue(std::string_view text, std::string_view variable);

/// /proc/PID/smaps: reads line after line of it and keeps the first region that ends above an address.
class RegionReader {
 public:
  explicit RegionReader(std::uint64_t address) : m_address(address) {}

  /// Takes the next line, without its end. False as soon as the region is complete.
  bool take(std::string_view line);

  /// The region, if there was one.
  const std::optional<MemoryRegion>& region() const { return m_region; }

 private:
  const std::uint64_t m_address;
  std::optional<MemoryRegion> m_region;
};

/// A file in /proc/sys/fs/binfmt_misc: whether it puts an interpreter for executables in force.
bool interpretsExecutables(std::string_view text);

/// Whether the executable of this name runs programs of another machine than this one (as uname(2) calls it).
bool isEmulator(std::string_view executable, std::string_view machine);

}  // namespace corvane
