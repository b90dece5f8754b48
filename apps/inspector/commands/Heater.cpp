#include "apps/inspector/commands/Heater.h"

#include <array>
#include <string>
#include <utility>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/commands/HeaterTrial.h"
#include "apps/inspector/commands/Picture.h"
#include "apps/inspector/svg/SvgPlot.h"
#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

// Distinguishable even by the colour-blind: blue, vermilion and green from Okabe and Ito's palette.
constexpr std::array COLOURS = {"#0072b2", "#d55e00", "#009e73"};

SvgPlot heaterPlot() {
  SvgPlot::Panel temperatures{.axis = "Temperature (input), °C"}, powers{.axis = "Power (output), %"};
  SvgPlot::Line setpoint{.colour = "#222", .dashed = true, .label = "Setpoint"};
  for (const Tuning& tuning : HeaterTrial::tunings()) {
    const char* colour = COLOURS.at(powers.lines.size());
    SvgPlot::Line temperature{.colour = colour, .label = tuning.name}, power{.colour = colour};
    temperature.note =
        "kp " + decimal(tuning.kp, 1) + ", ki " + decimal(tuning.ki, 2) + ", kd " + decimal(tuning.kd, 1);
    setpoint.points.clear();
    for (const HeaterTrial::Sample& sample : HeaterTrial::run(tuning)) {
      setpoint.points.push_back({sample.time, sample.setpoint});
      temperature.points.push_back({sample.time, sample.temperature});
      power.points.push_back({sample.time, sample.power});
    }
    temperatures.lines.push_back(std::move(temperature));
    powers.lines.push_back(std::move(power));
  }
  temperatures.lines.push_back(std::move(setpoint));
  return {.title = "A heater with delay under three tunings",
          .axis = "Time, s",
          .panels = {std::move(temperatures), std::move(powers)},
          .marks = {{0, "switched on"},
                    {HeaterTrial::SETPOINT_CHANGE, "setpoint lowered"},
                    {HeaterTrial::ROOM_CHANGE, "room 8 K colder"}}};
}

tl::expected<std::string, std::string> fileIn(const Arguments& arguments) {
  std::string file;
  for (OptionReader option(arguments); option.next();) {
    if (option.name() != "--svg") return option.unknown();
    const auto value = option.value();
    if (!value) return tl::unexpected(value.error());
    file = *value;
  }
  if (file.empty()) return tl::unexpected(std::string("heater: expects --svg FILE"));
  return file;
}

}  // namespace

int heater(const Arguments& arguments) {
  const auto file = fileIn(arguments);
  if (!file) return failUsage(file.error());
  return writePicture(*file, heaterPlot().svg());
}

}  // namespace corvane::inspector
