#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <type_traits>

#include "corvane/platform/Export.h"

namespace corvane {

/// A connection to an X server, for one thread at a time. Waits for the server without a limit.
class CORVANE_API X11Connection {
 public:
  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };
  /// A reply or event from the server.
  template <class T>
  using Ptr = std::unique_ptr<T, Free>;

  /// Connects to a display; null if no server answers there.
  static std::unique_ptr<X11Connection> open(const std::string& display);
  ~X11Connection();
  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;

  xcb_connection_t* get() const { return m_connection; }
  xcb_window_t root() const { return m_root; }

  /// False once the connection to the server is lost.
  bool isConnected() const;

  /// The next event that has arrived; null if none has.
  Ptr<xcb_generic_event_t> event() const;

  /// The reply to a request, obtained by the function that reads it; null if it is an error.
  template <class Read, class Cookie>
  auto answer(Read read, Cookie cookie) const {
    xcb_generic_error_t* error = nullptr;
    auto* const reply = read(m_connection, cookie, &error);
    std::free(error);
    return Ptr<std::remove_pointer_t<decltype(reply)>>(reply);
  }

 private:
  explicit X11Connection(xcb_connection_t* connection) : m_connection(connection) {}

  xcb_connection_t* const m_connection;
  xcb_window_t m_root = 0;
};

}  // namespace corvane
