#pragma once

#include <functional>
#include <memory>

namespace corvane {

/// Tells when the X server's screen saver (which DPMS drives too) switches the screens off and on. Not thread-safe:
/// made, used and destroyed on one thread.
class ScreenSaverX11 {
 public:
  /// Connects to the display of the environment; null if there is none or it has no screen saver.
  static std::unique_ptr<ScreenSaverX11> open();

  ~ScreenSaverX11();

  /// Readable when dispatch() has something to do.
  int descriptor() const;

  /// Calls `changed(asleep)` for each event that has arrived. False if the connection is lost.
  bool dispatch(const std::function<void(bool asleep)>& changed);

 private:
  struct State;
  explicit ScreenSaverX11(std::unique_ptr<State> state);
  std::unique_ptr<State> m_state;
};

}  // namespace corvane
