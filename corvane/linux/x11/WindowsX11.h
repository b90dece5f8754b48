#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace corvane {

/// The windows that the window manager of an X server keeps. One thread at a time. The server is waited for without a
/// limit. Nothing that windows say of themselves can do harm, and windows may vanish at any time.
class WindowsX11 {
 public:
  using Window = std::uint32_t;

  /// Connects to a display; null if no server answers there.
  static std::unique_ptr<WindowsX11> open(const std::string& display);
  ~WindowsX11();

  const std::string& display() const;

  /// False once the server is gone.
  bool isConnected();

  /// The windows of a process, the lowest first; without desktops and docks.
  std::vector<Window> of(pid_t pid);

  /// The window that the user works with; 0 if there is none.
  Window active();

  /// Asks the window manager to bring one window after the other to the front.
  void activate(const std::vector<Window>& windows);

  /// The two names of a window's class, the one of the instance first; none if it has no class.
  std::vector<std::string> classOf(Window window);

 private:
  struct State;
  explicit WindowsX11(std::unique_ptr<State> state);
  const std::unique_ptr<State> m_state;
};

}  // namespace corvane
