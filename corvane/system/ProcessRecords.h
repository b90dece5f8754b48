#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "corvane/platform/ProcessTable.h"
#include "corvane/system/procinfo/records.h"

/// Shared by the functions that fill the records of corvane/system/procinfo.
namespace corvane {

inline int stateNumber(ProcessState state) {
  switch (state) {
    case ProcessState::RUNNING:
      return SRUN;
    case ProcessState::SLEEPING:
      return SSLEEP;
    case ProcessState::STOPPED:
      return SSTOP;
    case ProcessState::ZOMBIE:
      return SZOMB;
    case ProcessState::UNKNOWN:
      return 0;
  }
  return 0;
}

/// A flag if a condition holds, otherwise 0.
constexpr int bit(bool holds, int flag) {
  return holds ? flag : 0;
}

/// Copies as much of a name as fits, with a NUL, into a zeroed array.
template <class Array>
void copyName(std::string_view name, Array& out) {
  std::ranges::copy(name.substr(0, std::size(out) - 1), std::begin(out));
}

/// When a process was started, in microseconds since 1970.
inline std::int64_t startUsec(const ProcessInfo& process, std::int64_t bootTime) {
  return bootTime + static_cast<std::int64_t>(process.started / 1000);
}

}  // namespace corvane
