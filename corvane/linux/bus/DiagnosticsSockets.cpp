#include "corvane/linux/bus/DiagnosticsSockets.h"

#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/core/Mutex.h"

namespace corvane::diagnostics {

namespace {

// A fork waits while a socket is being opened, so that none is missed. Nothing slow happens under the lock.
Mutex& mutex() {
  static Mutex& mutex = *new Mutex;
  return mutex;
}

std::vector<int>& sockets() CORVANE_REQUIRES(mutex()) {
  static auto& sockets = *new std::vector<int>;
  return sockets;
}

// The handlers of a fork: the analysis does not see that they belong together.
void lockBefore() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  mutex().acquire();
}
void unlockInParent() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  mutex().release();
}
void closeInChild() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
  for (const int fd : sockets()) close(fd);
  sockets().clear();
  mutex().release();
}

[[maybe_unused]] const int s_registered = pthread_atfork(lockBefore, unlockInParent, closeInChild);

template <class Open>
int opened(Open&& open) {
  MutexLock lock(mutex());
  const int fd = uninterrupted(open);
  if (fd >= 0) sockets().push_back(fd);
  return fd;
}

}  // namespace

OwnSocket OwnSocket::make() {
  return OwnSocket(opened([] { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }));
}

OwnSocket OwnSocket::accept(int listening) {
  return OwnSocket(opened([&] { return accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK); }));
}

OwnSocket::OwnSocket(OwnSocket&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

OwnSocket::~OwnSocket() {
  if (m_fd < 0) return;
  MutexLock lock(mutex());
  std::erase(sockets(), m_fd);
  close(m_fd);
}

}  // namespace corvane::diagnostics
