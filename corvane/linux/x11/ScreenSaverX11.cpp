#include "corvane/linux/x11/ScreenSaverX11.h"

#include <xcb/screensaver.h>

#include <utility>

#include "corvane/linux/x11/X11Connection.h"

namespace corvane {

std::unique_ptr<ScreenSaverX11> ScreenSaverX11::open(const std::string& display) {
  auto x = X11Connection::open(display);
  if (!x) return nullptr;
  const auto* extension = xcb_get_extension_data(x->get(), &xcb_screensaver_id);
  if (!extension || !extension->present) return nullptr;
  xcb_screensaver_select_input(x->get(), x->root(), XCB_SCREENSAVER_EVENT_NOTIFY_MASK);
  xcb_flush(x->get());
  return std::unique_ptr<ScreenSaverX11>(new ScreenSaverX11(std::move(x), extension->first_event));
}

ScreenSaverX11::ScreenSaverX11(std::unique_ptr<X11Connection> x, std::uint8_t firstEvent)
    : m_x(std::move(x)), m_firstEvent(firstEvent) {}

ScreenSaverX11::~ScreenSaverX11() = default;

int ScreenSaverX11::descriptor() const {
  return xcb_get_file_descriptor(m_x->get());
}

bool ScreenSaverX11::dispatch(const std::function<void(bool asleep)>& changed) {
  while (const auto event = m_x->event()) {
    if ((event->response_type & 0x7f) != m_firstEvent + XCB_SCREENSAVER_NOTIFY) continue;
    const auto state = reinterpret_cast<const xcb_screensaver_notify_event_t*>(event.get())->state;
    if (state == XCB_SCREENSAVER_STATE_ON || state == XCB_SCREENSAVER_STATE_OFF)
      changed(state == XCB_SCREENSAVER_STATE_ON);
  }
  return m_x->isConnected();
}

}  // namespace corvane
