#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace corvane {

/// The windows managed by the window manager of an X server. One thread at a time. Waits for the server without a
/// limit. Properties of windows are not trusted, and windows may disappear at any time.
class WindowsX11 {
 public:
  using Window = std::uint32_t;

  /// Connects to a display; null if no server answers there.
  static std::unique_ptr<WindowsX11> open(const std::string& display);
  ~WindowsX11();

  const std::string& display() const;

  /// False once the connection to the server is lost.
  bool isConnected();

  /// The windows of a process, from the lowest to the highest, without desktops and docks.
  std::vector<Window> of(pid_t pid);

  /// The window that the user is working with; 0 if there is none.
  Window active();

  /// Asks the window manager to bring the windows to the front, one after the other.
  void activate(const std::vector<Window>& windows);

  /// The two names of a window's class, that of the instance first; empty if it has no class.
  std::vector<std::string> classOf(Window window);

 private:
  struct State;
  explicit WindowsX11(std::unique_ptr<State> state);
  const std::unique_ptr<State> m_state;
};

}  // namespace corvane
