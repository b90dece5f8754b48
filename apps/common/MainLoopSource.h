#pragma once

#include <functional>

struct _GSource;

namespace corvane {

/// A callback on the main loop, for as long as the object lives. On the main queue only. An exception that leaves a
/// callback ends the process.
class MainLoopSource {
 public:
  using Callback = std::function<void()>;

  /// Calls `readable` whenever the descriptor can be read; finally calls `hangup` once, when its other side is closed.
  static MainLoopSource input(int fd, Callback readable, Callback hangup);

  /// After every delivery of SIGHUP, SIGINT, SIGTERM, SIGUSR1, SIGUSR2 or SIGWINCH.
  static MainLoopSource signal(int number, Callback callback);

  MainLoopSource() = default;
  ~MainLoopSource();
  MainLoopSource(MainLoopSource&& other) noexcept;
  MainLoopSource& operator=(MainLoopSource&& other) noexcept;

 private:
  struct Callbacks;
  MainLoopSource(_GSource* source, int (*function)(void*), Callbacks callbacks);

  _GSource* m_source = nullptr;
};

}  // namespace corvane
