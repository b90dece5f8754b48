#include "corvane/linux/x11/X11Connection.h"

namespace corvane {

std::unique_ptr<X11Connection> X11Connection::open(const std::string& display) {
  if (display.empty()) return nullptr;
  int number = 0;
  std::unique_ptr<X11Connection> x(new X11Connection(xcb_connect(display.c_str(), &number)));
  if (!x->isConnected()) return nullptr;
  auto screen = xcb_setup_roots_iterator(xcb_get_setup(x->m_connection));
  for (; number > 0 && screen.rem > 1; --number) xcb_screen_next(&screen);
  x->m_root = screen.data->root;
  return x;
}

X11Connection::~X11Connection() {
  xcb_disconnect(m_connection);
}

bool X11Connection::isConnected() const {
  return xcb_connection_has_error(m_connection) == 0;
}

X11Connection::Ptr<xcb_generic_event_t> X11Connection::event() const {
  return Ptr<xcb_generic_event_t>(xcb_poll_for_event(m_connection));
}

}  // namespace corvane
