#include <png.h>
#include <xcb/randr.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/core/Text.h"
#include "corvane/linux/picture/Pictures.h"
#include "corvane/linux/x11/X11Connection.h"

namespace corvane {

namespace {

// Where programs look for the picture of the root window; the second name is for programs that free what another one
// has made. The third is where this one notes what is its own: the pixmap's number, a blank, and the file's URL.
constexpr std::string_view PIXMAP = "_XROOTPMAP_ID";
constexpr std::string_view FREED_PIXMAP = "ESETROOT_PMAP_ID";
constexpr std::string_view NOTE = "_CORVANE_ROOT_PICTURE";

constexpr std::uint32_t MAX_WORDS = 10'000;   // of a property
constexpr std::uint32_t MAX_SIDE = 1U << 15;  // of a picture, in pixels
constexpr std::uint32_t HEADER = 8;           // words of a request besides its pixels

struct Pixels {
  std::uint32_t width = 0, height = 0;
  std::vector<std::uint32_t> rows;
};

// The pixels of a file as a server keeps them.
Result<Pixels> readPixels(const std::string& path, bool isLittleEndian) {
  png_image header{};
  header.version = PNG_IMAGE_VERSION;
  Pixels pixels;
  bool isRead = png_image_begin_read_from_file(&header, path.c_str()) != 0;
  if (isRead && header.width <= MAX_SIDE && header.height <= MAX_SIDE) {
    header.format = isLittleEndian ? PNG_FORMAT_BGRA : PNG_FORMAT_ARGB;
    pixels = {header.width, header.height, std::vector<std::uint32_t>(std::size_t{header.width} * header.height)};
    isRead = png_image_finish_read(&header, nullptr, pixels.rows.data(), 0, nullptr) != 0;
  }
  const std::string reason = header.message;
  png_image_free(&header);
  if (!isRead || pixels.rows.empty()) return failure("png", 0, path + ": " + (reason.empty() ? "too large" : reason));
  return pixels;
}

// The root window of the display, on a connection of its own.
class Root {
 public:
  static Result<Root> open() {
    const char* const display = std::getenv("DISPLAY");
    auto x = X11Connection::open(display ? display : "");
    if (!x) return failure("x11", 0, "No X server answers");
    Root root(std::move(x));
    if (!root.hasPlainPixels()) return noPictures("the X server has unusual pixels");
    return root;
  }

  xcb_atom_t atom(std::string_view name) const {
    const auto reply = m_x->answer(
        xcb_intern_atom_reply, xcb_intern_atom(m_x->get(), 0, static_cast<std::uint16_t>(name.size()), name.data()));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  }

  // A property's bytes; empty if it is absent or of another type.
  std::string property(xcb_window_t window, std::string_view name, xcb_atom_t type) const {
    const auto reply =
        m_x->answer(xcb_get_property_reply, xcb_get_property(m_x->get(), 0, window, atom(name), type, 0, MAX_WORDS));
    if (!reply || reply->type != type) return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
  }

  // The numbers in a property.
  std::vector<std::uint32_t> numbers(xcb_window_t window, std::string_view name, xcb_atom_t type) const {
    const std::string bytes = property(window, name, type);
    std::vector<std::uint32_t> numbers(bytes.size() / sizeof(std::uint32_t));
    std::copy_n(bytes.data(), numbers.size() * sizeof(std::uint32_t), reinterpret_cast<char*>(numbers.data()));
    return numbers;
  }

  // The number of a picture under one of its names; 0 if there is none, or it is gone.
  xcb_pixmap_t pixmap(std::string_view name) const {
    const auto found = numbers(m_x->root(), name, XCB_ATOM_PIXMAP);
    return !found.empty() && exists(found[0]) ? found[0] : XCB_NONE;
  }

  bool exists(xcb_pixmap_t pixmap) const {
    const auto shape = m_x->answer(xcb_get_geometry_reply, xcb_get_geometry(m_x->get(), pixmap));
    return shape && m_shape && shape->depth == m_shape->depth;
  }

  // The file of the present picture if this backend has made it.
  std::string noted(xcb_pixmap_t present) const {
    const std::string note = property(m_x->root(), NOTE, XCB_ATOM_STRING);
    const std::string number = std::to_string(present) + ' ';
    return present != XCB_NONE && note.starts_with(number) ? note.substr(number.size()) : "";
  }

  // Whether a window of a desktop hides the root window.
  bool isCovered() const {
    const auto desktop = atom("_NET_WM_WINDOW_TYPE_DESKTOP");
    return std::ranges::any_of(numbers(m_x->root(), "_NET_CLIENT_LIST", XCB_ATOM_WINDOW), [&](xcb_window_t window) {
      const auto types = numbers(window, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM);
      return std::ranges::find(types, desktop) != types.end();
    });
  }

  // Shows pictures under their names, or removes them, and frees the present one if it was made here.
  void show(xcb_pixmap_t pixmap, xcb_pixmap_t freed, const std::string& url) const {
    xcb_connection_t* const x = m_x->get();
    const xcb_pixmap_t before = this->pixmap(PIXMAP);
    const bool isOwn = !noted(before).empty();
    const auto set = [&](std::string_view name, xcb_pixmap_t number) {
      if (number == XCB_NONE)
        xcb_delete_property(x, m_x->root(), atom(name));
      else
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, m_x->root(), atom(name), XCB_ATOM_PIXMAP, 32, 1, &number);
    };
    const std::string note = std::to_string(pixmap) + ' ' + url;
    if (url.empty())
      xcb_delete_property(x, m_x->root(), atom(NOTE));
    else
      xcb_change_property(x, XCB_PROP_MODE_REPLACE, m_x->root(), atom(NOTE), XCB_ATOM_STRING, 8,
                          static_cast<std::uint32_t>(note.size()), note.data());
    set(PIXMAP, pixmap);
    set(FREED_PIXMAP, freed);
    const std::uint32_t background = pixmap;  // none: the server's own
    xcb_change_window_attributes(x, m_x->root(), XCB_CW_BACK_PIXMAP, &background);
    xcb_clear_area(x, 0, m_x->root(), 0, 0, 0, 0);
    if (isOwn && before != pixmap) xcb_kill_client(x, before);
    finish();
  }

  // A pixmap that outlives the connection: the present picture with another one at a monitor's place.
  xcb_pixmap_t made(const Pixels& pixels, const std::string& screen) const {
    xcb_connection_t* const x = m_x->get();
    xcb_set_close_down_mode(x, XCB_CLOSE_DOWN_RETAIN_PERMANENT);
    const xcb_pixmap_t pixmap = xcb_generate_id(x);
    const xcb_gcontext_t context = xcb_generate_id(x);
    xcb_create_pixmap(x, m_shape->depth, pixmap, m_x->root(), m_shape->width, m_shape->height);
    const xcb_pixmap_t before = this->pixmap(PIXMAP);
    const std::uint32_t tiled[] = {XCB_FILL_STYLE_TILED, before};
    xcb_create_gc(x, context, pixmap, before ? XCB_GC_FILL_STYLE | XCB_GC_TILE : 0, tiled);  // at first black
    const xcb_rectangle_t all{0, 0, m_shape->width, m_shape->height};
    xcb_poly_fill_rectangle(x, pixmap, context, 1, &all);
    const auto [left, top] = originOf(screen);
    const auto width = static_cast<std::uint16_t>(pixels.width);
    const std::uint32_t rowBytes = 4U * width;
    const std::uint32_t most = std::min((xcb_get_maximum_request_length(x) - HEADER) / width, 256U);
    for (std::uint32_t y = 0; y < pixels.height && most > 0; y += most) {
      const std::uint32_t rows = std::min(most, pixels.height - y);
      xcb_put_image(x, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context, width, static_cast<std::uint16_t>(rows), left,
                    static_cast<std::int16_t>(top + static_cast<int>(y)), 0, m_shape->depth, rowBytes * rows,
                    reinterpret_cast<const std::uint8_t*>(pixels.rows.data() + std::size_t{y} * width));
    }
    xcb_free_gc(x, context);
    finish();
    return m_x->isConnected() && exists(pixmap) ? pixmap : XCB_NONE;
  }

  bool isLittleEndian() const { return xcb_get_setup(m_x->get())->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST; }

 private:
  explicit Root(std::unique_ptr<X11Connection> x)
      : m_x(std::move(x)), m_shape(m_x->answer(xcb_get_geometry_reply, xcb_get_geometry(m_x->get(), m_x->root()))) {}

  // Whether the server keeps pictures as readPixels() gives them.
  bool hasPlainPixels() const {
    const auto* const setup = xcb_get_setup(m_x->get());
    for (auto format = xcb_setup_pixmap_formats_iterator(setup); format.rem > 0; xcb_format_next(&format))
      if (m_shape && format.data->depth == m_shape->depth)
        return (m_shape->depth == 24 || m_shape->depth == 32) && format.data->bits_per_pixel == 32;
    return false;
  }

  std::pair<std::int16_t, std::int16_t> originOf(const std::string& screen) const {
    const auto reply = m_x->answer(xcb_randr_get_monitors_reply, xcb_randr_get_monitors(m_x->get(), m_x->root(), 1));
    if (!reply) return {};
    const xcb_atom_t name = atom(screen);
    for (auto each = xcb_randr_get_monitors_monitors_iterator(reply.get()); each.rem > 0;
         xcb_randr_monitor_info_next(&each))
      if (each.data->name == name) return {each.data->x, each.data->y};
    return {};
  }

  // Waits until the server has done all.
  void finish() const { (void)m_x->answer(xcb_get_input_focus_reply, xcb_get_input_focus(m_x->get())); }

  std::unique_ptr<X11Connection> m_x;
  X11Connection::Ptr<xcb_get_geometry_reply_t> m_shape;
};

// A server without a desktop. The user's picture stays on the server while another one is shown, so it is put back by
// its number, which is an option of it, under each name.
class RootPicture : public DesktopPicture {
 public:
  Result<ScreenPicture> picture(const std::string&) override {
    return visibleRoot().map([](const Root& root) {
      const xcb_pixmap_t pixmap = root.pixmap(PIXMAP);
      return ScreenPicture{root.noted(pixmap),
                           {{std::string(PIXMAP), std::to_string(pixmap)},
                            {std::string(FREED_PIXMAP), std::to_string(root.pixmap(FREED_PIXMAP))}}};
    });
  }

  Result<void> setPicture(const std::string& screen, const ScreenPicture& picture) override {
    const auto found = visibleRoot();
    if (!found) return tl::unexpected<Error>(found.error());
    const Root& root = *found;
    if (!picture.options.empty()) {
      const xcb_pixmap_t pixmap = numberIn<xcb_pixmap_t>(option(picture, PIXMAP)).value_or(XCB_NONE);
      if (pixmap != XCB_NONE && !root.exists(pixmap))
        return failure("x11", 0, "The picture of the root window no longer exists");
      const xcb_pixmap_t freed = numberIn<xcb_pixmap_t>(option(picture, FREED_PIXMAP)).value_or(XCB_NONE);
      root.show(pixmap, freed == pixmap ? freed : XCB_NONE, picture.url);
      return {};
    }
    const auto pixels =
        pathOf(picture.url).and_then([&](const std::string& path) { return readPixels(path, root.isLittleEndian()); });
    if (!pixels) return tl::unexpected<Error>(pixels.error());
    // On a connection of its own, because all that one has made is freed together.
    const auto maker = Root::open();
    const xcb_pixmap_t pixmap = maker ? maker->made(*pixels, screen) : XCB_NONE;
    if (pixmap == XCB_NONE) return failure("x11", 0, "The X server takes no picture");
    root.show(pixmap, pixmap, picture.url);
    return {};
  }

 private:
  static Result<Root> visibleRoot() {
    auto root = Root::open();
    if (root && root->isCovered()) return noPictures("its window hides the root window");
    return root;
  }
};

}  // namespace

std::shared_ptr<DesktopPicture> rootPicture() {
  return std::make_shared<RootPicture>();
}

}  // namespace corvane
