#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>

namespace corvane {

/// When a process was started, in the kernel's ticks since the system's start; with the id it identifies the process.
/// std::nullopt if there is no such process.
std::optional<std::uint64_t> processStart(pid_t pid);

/// Whether a process runs for a user: as its real or saved user id.
bool runsFor(pid_t pid, uid_t user);

}  // namespace corvane
