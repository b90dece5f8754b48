#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "apps/inspector/model/HeaterTrial.h"
#include "apps/inspector/svg/SvgPlot.h"
#include "corvane/core/Clock.h"

namespace corvane::inspector {

namespace {

// Largest distance of the temperature from the setpoint between two times.
double worst(const std::vector<HeaterTrial::Sample>& samples, double from, double to) {
  double result = 0;
  for (const auto& sample : samples)
    if (sample.time >= from && sample.time < to)
      result = std::max(result, std::abs(sample.temperature - sample.setpoint));
  return result;
}

TEST(HeaterTrial, EachTuningBehavesAsItsKindDoes) {
  const auto tunings = HeaterTrial::tunings();
  ASSERT_EQ(tunings.size(), 3U);
  const auto proportional = HeaterTrial::run(tunings[0]);
  // It rests where room + gain·(r + kp·(r − y)) is y.
  const auto rest = [&](double room, double r) {
    const double gain = HeaterTrial::GAIN, kp = tunings[0].kp;
    return (room + gain * (1 + kp) * r) / (1 + gain * kp);
  };
  EXPECT_NEAR(proportional[349].temperature, rest(20, 60), 0.01);
  EXPECT_NEAR(proportional[699].temperature, rest(20, 50), 0.01);
  EXPECT_NEAR(proportional.back().temperature, rest(12, 50), 0.01);

  for (const auto& tuning : {tunings[1], tunings[2]}) {
    const auto samples = HeaterTrial::run(tuning);
    EXPECT_LT(worst(samples, 300, 350), 0.2) << tuning.name;
    EXPECT_LT(worst(samples, 600, 700), 0.1) << tuning.name;
    EXPECT_LT(worst(samples, 700, 1001), 2.5) << tuning.name;
    EXPECT_LT(worst(samples, 900, 1001), 0.1) << tuning.name;
    EXPECT_NEAR(samples.back().power, 76, 0.5) << "half a kelvin a percent above 12 °C";
    for (const auto& sample : samples) ASSERT_TRUE(sample.power >= 0 && sample.power <= 100);
    // Nothing reaches the heater before its delay is over.
    EXPECT_EQ(samples[10].temperature, 20);
    EXPECT_GT(samples[11].temperature, 20);
  }
  EXPECT_FALSE(Clock::manual()) << "the clock is the real one again";
}

std::size_t count(const std::string& text, const std::string& piece) {
  std::size_t result = 0;
  for (auto at = text.find(piece); at != text.npos; at = text.find(piece, at + piece.size())) ++result;
  return result;
}

TEST(SvgPlot, SpansTheDataBetweenRoundTicks) {
  const SvgPlot plot{.title = "T",
                     .axis = "t",
                     .panels = {{.axis = "y", .lines = {{.colour = "red", .points = {{-1, 0.013}, {1, 0.048}}}}},
                                {.axis = "z", .lines = {{.colour = "red", .points = {{-1, 0}, {1, 12}}}}}},
                     .marks = {{0, "middle"}}};
  const std::string svg = plot.svg();
  for (const char* label :
       {"-1.0", "-0.5", "0.0", "0.5", "1.0", "0.01", "0.02", "0.03", "0.04", "0.05", "0", "2", "10", "12", "middle"})
    EXPECT_EQ(count(svg, std::string(">") + label + "</text>"), 1U) << label;
  EXPECT_EQ(count(svg, "text-anchor='end'"), 12U);
  EXPECT_EQ(count(svg, "d='M70.0 260.2L640.0 76.5'") + count(svg, "d='M70.0 260.3L640.0 76.5'"), 1U);
}

TEST(SvgPlot, HoldsWhateverItIsGiven) {
  SvgPlot plot{.title = "a<b & c", .axis = "", .panels = {{.axis = "y"}}, .marks = {}};
  EXPECT_EQ(count(plot.svg(), "a&lt;b &amp; c"), 2U);
  // One value, no value, gaps, and neither infinite nor not a number in the picture.
  const double nan = std::nan("");
  plot.panels[0].lines = {{.colour = "red", .label = "flat", .points = {{5, 5}, {6, nan}, {7, 5}, {8, 5}}},
                          {.colour = "blue", .label = "none"},
                          {.colour = "blue", .points = {{nan, 1}, {INFINITY, 2}, {6, -INFINITY}}}};
  const std::string svg = plot.svg();
  EXPECT_EQ(count(svg, "<path"), 1U);
  const auto path = svg.substr(svg.find("d='") + 3, 60);
  EXPECT_EQ(std::count(path.begin(), path.end(), 'M'), 2) << path;
  EXPECT_EQ(count(svg, ">flat<") + count(svg, ">none<"), 2U);
  EXPECT_EQ(count(svg, "nan") + count(svg, "inf"), 0U);
}

}  // namespace

}  // namespace corvane::inspector
