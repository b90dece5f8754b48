#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/platform/ProcessTable.h"

namespace corvane {

/// Parsers for the texts in /proc. They accept any bytes, and return nothing for what the kernel would not have
/// written.

/// The units of the numbers in a stat file.
struct ProcessUnits {
  std::uint64_t tickNsec = 10'000'000;
  std::uint64_t pageBytes = 4096;
};

/// /proc/PID/stat: everything in it; it does not contain the user and the group. Also false for the text of a thread
/// that is not the first of its process: /proc has those under their ids too, although it does not list them.
bool readProcessStat(std::string_view text, const ProcessUnits& units, ProcessInfo& info);

/// /proc/PID/status
std::optional<ProcessDetails> readProcessStatus(std::string_view text);

/// /proc/PID/io
std::optional<DiskBytes> readProcessIo(std::string_view text);

/// /proc/PID/cgroup: the innermost unit with the name of an application's unit, app-….scope or app-….service; empty if
/// the process is not in one.
std::string_view applicationUnit(std::string_view text);

/// The application identifiers that the name of such a unit may contain, app-[LAUNCHER-]ID-RANDOM.scope or
/// app-[LAUNCHER-]ID[@RANDOM].service: the longest first, because some launchers do not escape identifiers.
std::vector<std::string> applicationIdentifiers(std::string_view unit);

/// /proc/PID/cmdline: the arguments. Each ends with a zero byte, which the last one may lack.
std::vector<std::string> argumentsOf(std::string_view text);

/// /proc/PID/environ: the value of a variable.
std::optional<std::string_view> environmentValue(std::string_view text, std::string_view variable);

/// /proc/PID/smaps: takes it line by line and keeps the first region that ends above an address.
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

/// A file in /proc/sys/fs/binfmt_misc: whether it registers and enables an interpreter for executables.
bool interpretsExecutables(std::string_view text);

/// Whether the executable with this name runs programs for a machine other than this one (as named by uname(2)).
bool isEmulator(std::string_view executable, std::string_view machine);

}  // namespace corvane
