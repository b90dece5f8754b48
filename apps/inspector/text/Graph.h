#pragma once

#include <cstddef>
#include <string>

#include "apps/inspector/model/History.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// One bar for each of the newest `width` readings, the newest last; a blank for a gap. `range` is what the lowest and
/// the highest bar stand for; anything above its low end shows more than the lowest bar.
std::string graph(const History& history, std::size_t width, Range range, const Glyphs& glyphs);

}  // namespace corvane::inspector
