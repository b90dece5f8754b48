#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

// window_child TITLE COUNT CLASS [PID] [TYPE]: shows windows of a class (instance and class are the same), "TITLE1" and
// so on, one above the other, that claim to be of a process (0: claim nothing) and of a type (_NET_WM_WINDOW_TYPE_…).
int main(int argc, char** argv) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (argc < 4) return 2;
  xcb_connection_t* x = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(x)) return 1;
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
  const auto atom = [x](const std::string& name) {
    auto* reply =
        xcb_intern_atom_reply(x, xcb_intern_atom(x, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr);
    const xcb_atom_t result = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    std::free(reply);
    return result;
  };
  const auto setText = [x](xcb_window_t window, xcb_atom_t property, const std::string& text) {
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, property, XCB_ATOM_STRING, 8,
                        static_cast<std::uint32_t>(text.size()), text.data());
  };
  char host[256] = {};
  gethostname(host, sizeof host - 1);
  const std::string name = std::string(argv[3]) + '\0' + argv[3] + '\0';
  for (int i = 1; i <= std::atoi(argv[2]); ++i) {
    const xcb_window_t window = xcb_generate_id(x);
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_create_window(x, XCB_COPY_FROM_PARENT, window, screen->root, static_cast<std::int16_t>(20 * i), 20, 60, 40, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, &events);
    setText(window, XCB_ATOM_WM_NAME, argv[1] + std::to_string(i));
    setText(window, XCB_ATOM_WM_CLASS, name);
    setText(window, XCB_ATOM_WM_CLIENT_MACHINE, host);
    const std::uint32_t pid = argc > 4 ? static_cast<std::uint32_t>(std::atoi(argv[4])) : 0;
    if (pid != 0)
      xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, 1, &pid);
    const xcb_atom_t type = argc > 5 ? atom(argv[5]) : xcb_atom_t{XCB_ATOM_NONE};
    if (type != XCB_ATOM_NONE)
      xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32, 1, &type);
    // A window manager that is just starting may miss a request.
    for (bool mapped = false; !mapped;) {
      xcb_map_window(x, window);
      xcb_flush(x);
      pollfd readable = {xcb_get_file_descriptor(x), POLLIN, 0};
      poll(&readable, 1, 200);
      while (xcb_generic_event_t* event = xcb_poll_for_event(x)) {
        mapped = mapped || (event->response_type & 0x7f) == XCB_MAP_NOTIFY;
        std::free(event);
      }
      if (xcb_connection_has_error(x)) return 1;
    }
  }
  while (xcb_generic_event_t* event = xcb_wait_for_event(x)) std::free(event);
}
