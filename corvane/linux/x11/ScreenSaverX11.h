#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace corvane {

class X11Connection;

/// Reports when the X server's screen saver (which DPMS drives too) switches the screens off and on. Not thread-safe:
/// made, used and destroyed on one thread.
class ScreenSaverX11 {
 public:
  /// Connects to a display; null if there is none or it has no screen saver.
  static std::unique_ptr<ScreenSaverX11> open(const std::string& display);

  ~ScreenSaverX11();

  /// Readable when dispatch() has something to do.
  int descriptor() const;

  /// Calls `changed(asleep)` for each event that has arrived. False if the connection is lost.
  bool dispatch(const std::function<void(bool asleep)>& changed);

 private:
  ScreenSaverX11(std::unique_ptr<X11Connection> x, std::uint8_t firstEvent);

  const std::unique_ptr<X11Connection> m_x;
  const std::uint8_t m_firstEvent;
};

}  // namespace corvane
