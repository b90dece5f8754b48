#pragma once

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <thread>

namespace corvane {

/// What a full disk does, without one: no file may grow beyond a size until the end of the scope.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &m_previous);
    const rlimit limited = {bytes, m_previous.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_previous); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit m_previous{};
};

/// A user to whom permissions apply, until the end of the scope: the one who runs the test, or "nobody" if that is the
/// administrator.
class OrdinaryUser {
 public:
  static constexpr uid_t NOBODY = 65534;

  OrdinaryUser() {
    if (m_user == 0 && seteuid(NOBODY) != 0) throw std::runtime_error("cannot become nobody");
  }
  ~OrdinaryUser() {
    if (seteuid(m_user) != 0) std::abort();
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  const uid_t m_user = geteuid();
};

/// Lets the system refuse every new thread, or no longer.
inline void allowThreads(bool allowed) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, allowed ? std::size_t{1} << 20 : std::size_t{1} << 47);  // no room for that
  pthread_setattr_default_np(&attributes);
}

/// What is written to standard error while `work` runs, which is where the log's lines go in a program without an
/// identifier.
template <class Work>
std::string standardErrorOf(Work&& work) {
  testing::internal::CaptureStderr();
  work();
  return testing::internal::GetCapturedStderr();
}

/// Checks every few milliseconds whether `condition` holds; false if it does not within `limit`.
template <class Condition>
bool waitUntil(Condition&& condition, std::chrono::milliseconds limit = std::chrono::seconds(30)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace corvane
