#include "corvane/platform/DisplayServer.h"

#include <glib-unix.h>
#include <xcb/randr.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "corvane/linux/x11/X11Connection.h"

namespace corvane {

namespace {

constexpr std::uint32_t MAX_WINDOWS = 10'000;   // that are considered
constexpr std::uint32_t MAX_ID_BYTES = 32'768;  // 255 extension blocks
constexpr int FARTHEST = 1 << 16;               // beyond every coordinate of X

enum Name : std::size_t { CLIENT_LIST, STRUT, STRUT_PARTIAL, WORK_AREA, COMPOSITOR, EDID, NAMES };
constexpr std::array<std::string_view, NAMES> TEXTS = {"_NET_CLIENT_LIST", "_NET_WM_STRUT", "_NET_WM_STRUT_PARTIAL",
                                                       "_NET_WORKAREA",    "_NET_WM_CM_S0", "EDID"};
using Atoms = std::array<xcb_atom_t, NAMES>;

std::unique_ptr<X11Connection> connect() {
  const char* const display = std::getenv("DISPLAY");
  return X11Connection::open(display ? display : "");
}

Atoms atomsOf(const X11Connection& x) {
  std::array<xcb_intern_atom_cookie_t, NAMES> cookies;
  std::ranges::transform(TEXTS, cookies.begin(), [&](std::string_view text) {
    return xcb_intern_atom(x.get(), 0, static_cast<std::uint16_t>(text.size()), text.data());
  });
  Atoms atoms{};
  std::ranges::transform(cookies, atoms.begin(), [&](xcb_intern_atom_cookie_t cookie) {
    const auto reply = x.answer(xcb_intern_atom_reply, cookie);
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  });
  return atoms;
}

// The server's events reach the watcher through the main context.
class Watch {
 public:
  Watch(std::unique_ptr<X11Connection> x, std::function<void()> changed)
      : m_x(std::move(x)), m_workArea(atomsOf(*m_x)[WORK_AREA]), m_changed(std::move(changed)) {
    constexpr std::uint32_t PROPERTIES = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(m_x->get(), m_x->root(), XCB_CW_EVENT_MASK, &PROPERTIES);
    xcb_flush(m_x->get());
    m_source = g_unix_fd_source_new(xcb_get_file_descriptor(m_x->get()), G_IO_IN);
    const GUnixFDSourceFunc readable = [](gint, GIOCondition, gpointer watch) -> gboolean {
      return static_cast<Watch*>(watch)->read() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    };
    g_source_set_callback(m_source, G_SOURCE_FUNC(readable), this, nullptr);
    g_source_attach(m_source, nullptr);
  }
  ~Watch() {
    g_source_destroy(m_source);
    g_source_unref(m_source);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

 private:
  // False once the connection is lost.
  bool read() {
    bool changed = false;
    while (const auto event = m_x->event()) {
      // A window manager computes the work area anew for every panel that comes, goes or moves.
      const auto* const property = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
      changed = changed || ((event->response_type & 0x7F) == XCB_PROPERTY_NOTIFY && property->atom == m_workArea);
    }
    const bool isConnected = m_x->isConnected();
    if (const auto tell = m_changed; changed) tell();  // may destroy this
    return isConnected;
  }

  const std::unique_ptr<X11Connection> m_x;
  const xcb_atom_t m_workArea;
  const std::function<void()> m_changed;
  GSource* m_source = nullptr;
};

class LinuxDisplayServer : public DisplayServer {
 public:
  Result<std::vector<Monitor>> monitors() override {
    if (!connected()) return failure("x11", 0, "No X server answers");
    const auto reply = m_x->answer(xcb_randr_get_monitors_reply, xcb_randr_get_monitors(m_x->get(), m_x->root(), 1));
    if (!reply) return failure("x11", 0, "The X server does not tell its monitors");
    std::vector<Monitor> monitors;
    for (auto each = xcb_randr_get_monitors_monitors_iterator(reply.get()); each.rem > 0;
         xcb_randr_monitor_info_next(&each)) {
      Monitor monitor{nameOf(each.data->name), {}};
      if (xcb_randr_monitor_info_outputs_length(each.data) > 0)
        monitor.idData = idData(*xcb_randr_monitor_info_outputs(each.data));
      monitors.push_back(std::move(monitor));
    }
    return monitors;
  }

  Result<std::vector<ReservedEdge>> reservedEdges() override {
    if (!connected()) return failure("x11", 0, "No X server answers");
    const auto size = m_x->answer(xcb_get_geometry_reply, xcb_get_geometry(m_x->get(), m_x->root()));
    if (!size) return failure("x11", 0, "The X server does not tell its size");
    std::vector<ReservedEdge> edges;
    for (const xcb_window_t window : cardinals(m_x->root(), CLIENT_LIST, XCB_ATOM_WINDOW, MAX_WINDOWS)) {
      // Left, right, top, bottom; then, in the newer property, the first and last pixel of each stretch.
      auto strut = cardinals(window, STRUT_PARTIAL, XCB_ATOM_CARDINAL, 12);
      if (strut.size() != 12) {
        strut = cardinals(window, STRUT, XCB_ATOM_CARDINAL, 4);
        if (strut.size() != 4) continue;
        strut.insert(strut.end(), {0, FARTHEST, 0, FARTHEST, 0, FARTHEST, 0, FARTHEST});
      }
      const auto pixels = [&strut](std::size_t i) { return static_cast<int>(std::min(strut[i], 0U + FARTHEST)); };
      const std::array<int, 4> limits = {pixels(0), size->width - pixels(1), pixels(2), size->height - pixels(3)};
      for (std::size_t side = 0; side < limits.size(); ++side) {
        if (strut[side] == 0) continue;
        edges.push_back(
            {static_cast<ReservedEdge::Side>(side), limits[side], pixels(4 + 2 * side), pixels(5 + 2 * side) + 1});
      }
    }
    return edges;
  }

  Result<bool> isComposited() override {
    if (!connected()) return failure("x11", 0, "No X server answers");
    const auto owner =
        m_x->answer(xcb_get_selection_owner_reply, xcb_get_selection_owner(m_x->get(), m_atoms[COMPOSITOR]));
    if (!owner) return failure("x11", 0, "The X server does not tell its compositing manager");
    return owner->owner != XCB_WINDOW_NONE;
  }

  std::shared_ptr<void> watch(std::function<void()> changed) override {
    auto x = connect();
    return x ? std::make_shared<Watch>(std::move(x), std::move(changed)) : nullptr;
  }

 private:
  bool connected() {
    while (m_x && m_x->event()) {
      // Unrequested events are ignored.
    }
    if (m_x && m_x->isConnected()) return true;
    m_x = connect();
    if (m_x) m_atoms = atomsOf(*m_x);
    return m_x != nullptr;
  }

  std::string nameOf(xcb_atom_t atom) const {
    const auto reply = m_x->answer(xcb_get_atom_name_reply, xcb_get_atom_name(m_x->get(), atom));
    if (!reply) return {};
    return {xcb_get_atom_name_name(reply.get()), static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))};
  }

  std::vector<std::uint8_t> idData(xcb_randr_output_t output) const {
    const auto reply = m_x->answer(
        xcb_randr_get_output_property_reply,
        xcb_randr_get_output_property(m_x->get(), output, m_atoms[EDID], XCB_ATOM_INTEGER, 0, MAX_ID_BYTES / 4, 0, 0));
    if (!reply || reply->format != 8) return {};
    const std::uint8_t* const bytes = xcb_randr_get_output_property_data(reply.get());
    return {bytes, bytes + reply->num_items};
  }

  // A property that is a list of 32-bit numbers; empty if it is absent or something else.
  std::vector<std::uint32_t> cardinals(xcb_window_t window, Name name, xcb_atom_t type, std::uint32_t most) const {
    const auto reply =
        m_x->answer(xcb_get_property_reply, xcb_get_property(m_x->get(), 0, window, m_atoms[name], type, 0, most));
    if (!reply || reply->format != 32) return {};
    const auto* const first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
  }

  std::unique_ptr<X11Connection> m_x;
  Atoms m_atoms{};
};

}  // namespace

template <>
std::shared_ptr<DisplayServer> makeService<DisplayServer>() {
  return std::make_shared<LinuxDisplayServer>();
}

}  // namespace corvane
