#pragma once

#include <cstddef>
#include <string>

#include "apps/inspector/model/History.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// One bar for each of the newest `width` readings, the newest last; a blank for a gap. `range` gives the values of the
/// lowest and the highest bar; any value above its low end is shown higher than the lowest bar.
std::string graph(const History& history, std::size_t width, Range range, const Glyphs& glyphs);

}  // namespace corvane::inspector
