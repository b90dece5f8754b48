#pragma once

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include "corvane/core/Files.h"

namespace corvane {

/// A descriptor of a process (pidfd), which stays that process's when its number becomes another's; empty, with errno,
/// on failure. The C library's header for these system calls is not for C++.
inline FileDescriptor openProcess(pid_t process) {
  return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

}  // namespace corvane
