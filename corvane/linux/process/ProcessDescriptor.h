#pragma once

#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include "corvane/core/Files.h"

namespace corvane {

/// A descriptor of a process (pidfd), which never refers to another process even if the id is reused; empty, with
/// errno, on failure. The C library's header for these system calls cannot be used from C++.
inline FileDescriptor openProcess(pid_t process) {
  return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

}  // namespace corvane
