#pragma once

namespace corvane::inspector {

/// Keeps standard error off a screen: while the object lives and standard error is a terminal, what the process writes
/// there is held in a pipe (the first 64 KiB of it; more is dropped) and written out by release().
class HeldStderr {
 public:
  HeldStderr();

  /// Releases.
  ~HeldStderr();

  HeldStderr(const HeldStderr&) = delete;
  HeldStderr& operator=(const HeldStderr&) = delete;

  /// Points standard error back to where it was and writes out what was held; again does nothing. May be called in a
  /// signal handler.
  void release() noexcept;

 private:
  int m_held = -1;
  int m_original = -1;
};

}  // namespace corvane::inspector
