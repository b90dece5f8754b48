#pragma once

#include <gtest/gtest.h>
#include <xcb/randr.h>

#include <QProcess>
#include <algorithm>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "corvane/linux/x11/X11Connection.h"

namespace corvane {

/// What a display of the manufacturer "COR" says about itself; its serial number is 3992977664 + `serial`.
inline std::vector<std::uint8_t> displayData(std::uint8_t serial, const std::string& name) {
  std::vector<std::uint8_t> data = {0, 255, 255, 255, 255, 255, 255, 0, 0x0D, 0xF2, 0, 0, serial, 1, 0, 0xEE, 0, 0, 1};
  data.resize(128);
  data[57] = name.empty() ? 0x10 : 0xFC;
  std::ranges::copy(name + '\n', data.begin() + 59);
  data[127] = static_cast<std::uint8_t>(-std::accumulate(data.begin(), data.end(), 0));
  return data;
}

/// Waits until the X server has seen everything sent: it drops what it has not read when a connection ends.
inline void settle(const X11Connection& x) {
  x.answer(xcb_get_input_focus_reply, xcb_get_input_focus(x.get()));
}

/// Makes the X server's first output one of a display that says this about itself.
inline void connectDisplay(const std::vector<std::uint8_t>& data) {
  const auto x = X11Connection::open(qEnvironmentVariable("DISPLAY").toStdString());
  const auto outputs = x->answer(xcb_randr_get_screen_resources_current_reply,
                                 xcb_randr_get_screen_resources_current(x->get(), x->root()));
  const auto edid = x->answer(xcb_intern_atom_reply, xcb_intern_atom(x->get(), 0, 4, "EDID"));
  xcb_randr_change_output_property(x->get(), *xcb_randr_get_screen_resources_current_outputs(outputs.get()), edid->atom,
                                   XCB_ATOM_INTEGER, 8, XCB_PROP_MODE_REPLACE, static_cast<std::uint32_t>(data.size()),
                                   data.data());
  settle(*x);
}

/// Runs a shell command, which must succeed.
inline void run(const QString& command) {
  EXPECT_EQ(QProcess::execute("sh", {"-c", command}), 0) << command.toStdString();
}

}  // namespace corvane
