#pragma once

namespace corvane::inspector {

/// Keeps standard error off the screen: if standard error is a terminal, what the process writes there while the object
/// lives is held in a pipe (the first 64 KiB; more is dropped) and written out by release().
class HeldStderr {
 public:
  HeldStderr();

  /// Calls release().
  ~HeldStderr();

  HeldStderr(const HeldStderr&) = delete;
  HeldStderr& operator=(const HeldStderr&) = delete;

  /// Restores standard error and writes out what was held; calling it again does nothing. May be called in a signal
  /// handler.
  void release() noexcept;

 private:
  int m_held = -1;
  int m_original = -1;
};

}  // namespace corvane::inspector
