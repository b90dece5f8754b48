#include "corvane/linux/x11/WindowsX11.h"

#include <unistd.h>
#include <xcb/res.h>

#include <algorithm>
#include <array>
#include <map>
#include <string_view>
#include <utility>

#include "corvane/linux/x11/X11Connection.h"

namespace corvane {

namespace {

constexpr std::uint32_t MAX_WINDOWS = 10'000;  // that are considered
constexpr std::uint32_t MAX_TEXT_BYTES = 1024;

enum Name : std::size_t { CLIENT_LIST_STACKING, CLIENT_LIST, ACTIVE_WINDOW, WM_PID, WINDOW_TYPE, DESKTOP, DOCK, NAMES };
constexpr std::array<std::string_view, NAMES> TEXTS = {"_NET_CLIENT_LIST_STACKING", "_NET_CLIENT_LIST",
                                                       "_NET_ACTIVE_WINDOW",        "_NET_WM_PID",
                                                       "_NET_WM_WINDOW_TYPE",       "_NET_WM_WINDOW_TYPE_DESKTOP",
                                                       "_NET_WM_WINDOW_TYPE_DOCK"};

// A property that is not a list of T counts as empty; the server does not return values of a type other than requested.
template <class T>
std::vector<T> valuesOf(const xcb_get_property_reply_t* reply) {
  if (!reply || reply->format != 8 * sizeof(T)) return {};
  const auto* const first = static_cast<const T*>(xcb_get_property_value(reply));
  return {first, first + reply->value_len};
}

std::string hostName() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  return name.data();
}

}  // namespace

struct WindowsX11::State {
  std::string display;
  std::unique_ptr<X11Connection> x;
  std::uint32_t clientMask = 0;  // the part of an id that is the client that created the window
  bool knowsProcesses = false;
  std::array<xcb_atom_t, NAMES> atoms{};

  auto ask(Window window, xcb_atom_t property, xcb_atom_t type, std::uint32_t words) {
    return xcb_get_property(x->get(), 0, window, property, type, 0, words);
  }

  auto property(xcb_get_property_cookie_t cookie) { return x->answer(xcb_get_property_reply, cookie); }

  std::vector<Window> windows(Name list) {
    return valuesOf<Window>(property(ask(x->root(), atoms[list], XCB_ATOM_WINDOW, MAX_WINDOWS)).get());
  }

  // The processes of the server's clients.
  std::map<std::uint32_t, pid_t> processes() {
    std::map<std::uint32_t, pid_t> processes;
    if (!knowsProcesses) return processes;
    constexpr xcb_res_client_id_spec_t ALL = {0, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    const auto reply = x->answer(xcb_res_query_client_ids_reply, xcb_res_query_client_ids(x->get(), 1, &ALL));
    if (!reply) return processes;
    for (auto id = xcb_res_query_client_ids_ids_iterator(reply.get()); id.rem > 0; xcb_res_client_id_value_next(&id)) {
      if (xcb_res_client_id_value_value_length(id.data) != 1) continue;
      const auto pid = static_cast<pid_t>(*xcb_res_client_id_value_value(id.data));
      if (pid > 0) processes[id.data->spec.client] = pid;
    }
    return processes;
  }
};

std::unique_ptr<WindowsX11> WindowsX11::open(const std::string& display) {
  auto x = X11Connection::open(display);
  if (!x) return nullptr;
  xcb_connection_t* const connection = x->get();
  auto state = std::make_unique<State>();
  state->display = display;
  state->clientMask = ~xcb_get_setup(connection)->resource_id_mask;

  std::array<xcb_intern_atom_cookie_t, NAMES> atoms;
  std::ranges::transform(TEXTS, atoms.begin(), [&](std::string_view text) {
    return xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(text.size()), text.data());
  });
  std::ranges::transform(atoms, state->atoms.begin(), [&](xcb_intern_atom_cookie_t cookie) {
    const auto reply = x->answer(xcb_intern_atom_reply, cookie);
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  });
  const auto* const extension = xcb_get_extension_data(connection, &xcb_res_id);
  if (extension && extension->present) {
    const auto version = x->answer(xcb_res_query_version_reply, xcb_res_query_version(connection, 1, 2));
    state->knowsProcesses = version && std::pair(version->server_major, version->server_minor) >=
                                           std::pair<std::uint16_t, std::uint16_t>(1, 2);
  }
  if (!x->isConnected()) return nullptr;
  state->x = std::move(x);
  return std::unique_ptr<WindowsX11>(new WindowsX11(std::move(state)));
}

WindowsX11::WindowsX11(std::unique_ptr<State> state) : m_state(std::move(state)) {}

WindowsX11::~WindowsX11() = default;

const std::string& WindowsX11::display() const {
  return m_state->display;
}

bool WindowsX11::isConnected() {
  while (m_state->x->event()) {
    // Unrequested events are ignored.
  }
  return m_state->x->isConnected();
}

std::vector<WindowsX11::Window> WindowsX11::of(pid_t pid) {
  State& state = *m_state;
  struct Candidate {
    Window window;
    xcb_get_property_cookie_t type;
    bool claims;  // the server does not know the owner, so the window's own claim counts
    xcb_get_property_cookie_t pid;
    xcb_get_property_cookie_t machine;
  };
  std::vector<Candidate> candidates;
  std::vector<Window> listed = state.windows(CLIENT_LIST_STACKING);
  if (listed.empty()) listed = state.windows(CLIENT_LIST);
  const auto processes = state.processes();
  for (const Window window : listed) {
    const auto owner = processes.find(window & state.clientMask);
    if (owner != processes.end() && owner->second != pid) continue;
    Candidate candidate{
        window, state.ask(window, state.atoms[WINDOW_TYPE], XCB_ATOM_ATOM, 16), owner == processes.end(), {}, {}};
    if (candidate.claims) {
      candidate.pid = state.ask(window, state.atoms[WM_PID], XCB_ATOM_CARDINAL, 1);
      candidate.machine = state.ask(window, XCB_ATOM_WM_CLIENT_MACHINE, XCB_ATOM_STRING, MAX_TEXT_BYTES / 4);
    }
    candidates.push_back(candidate);
  }

  std::vector<Window> windows;
  for (const Candidate& candidate : candidates) {
    const auto type = state.property(candidate.type);
    bool fits = type != nullptr;  // false if the window no longer exists
    for (const xcb_atom_t kind : valuesOf<xcb_atom_t>(type.get()))
      fits = fits && kind != state.atoms[DESKTOP] && kind != state.atoms[DOCK];
    if (candidate.claims) {
      const auto pids = valuesOf<std::uint32_t>(state.property(candidate.pid).get());
      const auto machine = valuesOf<char>(state.property(candidate.machine).get());
      fits = fits && pids == std::vector{static_cast<std::uint32_t>(pid)} &&
             std::string_view(machine.data(), machine.size()) == hostName();
    }
    if (fits) windows.push_back(candidate.window);
  }
  return windows;
}

WindowsX11::Window WindowsX11::active() {
  const auto active = m_state->windows(ACTIVE_WINDOW);
  return active.empty() ? 0 : active.front();
}

void WindowsX11::activate(const std::vector<Window>& windows) {
  constexpr std::uint32_t FROM_PAGER = 2;  // which acts for the user
  State& state = *m_state;
  for (const Window window : windows) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = state.atoms[ACTIVE_WINDOW];
    message.data.data32[0] = FROM_PAGER;
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(state.x->get(), 0, state.x->root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
  }
  // The reply to any request shows that the server has received them.
  state.x->answer(xcb_get_input_focus_reply, xcb_get_input_focus(state.x->get()));
}

std::vector<std::string> WindowsX11::classOf(Window window) {
  State& state = *m_state;
  const auto reply = state.property(state.ask(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, MAX_TEXT_BYTES / 4));
  const auto bytes = valuesOf<char>(reply.get());
  std::vector<std::string> names;
  for (auto begin = bytes.begin(); begin != bytes.end() && names.size() < 2;) {
    const auto end = std::find(begin, bytes.end(), '\0');
    names.emplace_back(begin, end);
    begin = end == bytes.end() ? end : end + 1;
  }
  return names;
}

}  // namespace corvane
