#include "corvane/linux/x11/ScreenSaverX11.h"

#include <xcb/screensaver.h>
#include <xcb/xcb.h>

#include <cstdlib>

namespace corvane {

namespace {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

struct ScreenSaverX11::State {
  xcb_connection_t* connection = nullptr;
  std::uint8_t firstEvent = 0;

  ~State() { xcb_disconnect(connection); }
};

std::unique_ptr<ScreenSaverX11> ScreenSaverX11::open() {
  if (!std::getenv("DISPLAY")) return nullptr;
  auto state = std::make_unique<State>();
  int screenNumber = 0;
  state->connection = xcb_connect(nullptr, &screenNumber);
  if (xcb_connection_has_error(state->connection)) return nullptr;
  const auto* extension = xcb_get_extension_data(state->connection, &xcb_screensaver_id);
  if (!extension || !extension->present) return nullptr;
  state->firstEvent = extension->first_event;
  auto screen = xcb_setup_roots_iterator(xcb_get_setup(state->connection));
  for (; screenNumber > 0 && screen.rem > 1; --screenNumber) xcb_screen_next(&screen);
  xcb_screensaver_select_input(state->connection, screen.data->root, XCB_SCREENSAVER_EVENT_NOTIFY_MASK);
  xcb_flush(state->connection);
  return std::unique_ptr<ScreenSaverX11>(new ScreenSaverX11(std::move(state)));
}

ScreenSaverX11::ScreenSaverX11(std::unique_ptr<State> state) : m_state(std::move(state)) {}

ScreenSaverX11::~ScreenSaverX11() = default;

int ScreenSaverX11::descriptor() const {
  return xcb_get_file_descriptor(m_state->connection);
}

bool ScreenSaverX11::dispatch(const std::function<void(bool asleep)>& changed) {
  while (const std::unique_ptr<xcb_generic_event_t, Free> event{xcb_poll_for_event(m_state->connection)}) {
    if ((event->response_type & 0x7f) != m_state->firstEvent + XCB_SCREENSAVER_NOTIFY) continue;
    const auto state = reinterpret_cast<const xcb_screensaver_notify_event_t*>(event.get())->state;
    if (state == XCB_SCREENSAVER_STATE_ON || state == XCB_SCREENSAVER_STATE_OFF)
      changed(state == XCB_SCREENSAVER_STATE_ON);
  }
  return xcb_connection_has_error(m_state->connection) == 0;
}

}  // namespace corvane
