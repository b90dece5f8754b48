#pragma once

#include <cmath>

namespace corvane::inspector {

/// The smallest distance between the ticks of an axis that is at least this large: 1, 2 or 5 times a power of ten.
inline double roundStep(double least) {
  const double power = std::pow(10, std::floor(std::log10(least)));
  return power * (least <= power ? 1 : least <= 2 * power ? 2 : least <= 5 * power ? 5 : 10);
}

}  // namespace corvane::inspector
