#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "apps/inspector/svg/SvgPlot.h"

namespace corvane::inspector {

namespace {

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

TEST(SvgPlot, DrawsWhateverItIsGiven) {
  SvgPlot plot{.title = "a<b & c", .axis = "", .panels = {{.axis = "y"}}, .marks = {}};
  EXPECT_EQ(count(plot.svg(), "a&lt;b &amp; c"), 2U);
  // One value, no value, gaps; neither infinities nor NaN appear in the picture.
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
