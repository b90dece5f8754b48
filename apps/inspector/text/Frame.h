#pragma once

#include <string>
#include <vector>

namespace corvane::inspector {

enum class Style { PLAIN, TITLE, DIM, GRAPH, HEADING, HOTKEY, SELECTED, PAUSED };

/// A piece of a line in one style; every character is one column wide.
struct Span {
  std::string text;
  Style style = Style::PLAIN;
};

using Line = std::vector<Span>;

/// The lines of the screen, from the top; what does not fit is cut off.
using Frame = std::vector<Line>;

}  // namespace corvane::inspector
