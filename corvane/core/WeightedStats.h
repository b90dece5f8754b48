#pragma once

#include <cmath>

namespace corvane {

/// Exponentially weighted mean and spread of a series of samples. A plain value, initially all zero.
struct WeightedStats {
  double last = 0;            ///< the latest sample
  double smoothed = 0;        ///< weighted mean of the samples
  double smoothedSquare = 0;  ///< weighted mean of their squares
  double deviation = 0;       ///< weighted standard deviation

  /// Statistics of a single sample.
  static WeightedStats seeded(double sample) { return {sample, sample, sample * sample, 0}; }

  /// The weight of a sample that represents `dt` seconds under the time constant `tc` (seconds): 1 − e^(−dt/tc), so
  /// that samples older than tc keep 1/e of the weight; 1 if tc is not positive.
  static double weight(double tc, double dt) { return tc > 0 ? -std::expm1(-dt / tc) : 1; }

  /// Folds in a sample with its weight.
  void update(double value, double tc, double dt) { fold(value, weight(tc, dt)); }

  /// update() for a caller that already has the weight. A mean that is not finite, because a sample was not, is
  /// replaced by the next sample.
  void fold(double value, double weight) {
    const double delta = value - smoothed;
    last = value;
    if (!std::isfinite(delta) || !std::isfinite(deviation)) {
      *this = seeded(value);
      return;
    }
    smoothed += weight * delta;
    smoothedSquare += weight * (value * value - smoothedSquare);
    // Not computed from the difference of the two means, which cancels if the spread is small compared with the mean.
    deviation = std::sqrt((1 - weight) * (deviation * deviation + weight * delta * delta));
  }
};

}  // namespace corvane
