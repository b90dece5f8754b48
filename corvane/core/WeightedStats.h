#pragma once

#include <algorithm>
#include <cmath>

namespace corvane {

/// Exponentially weighted mean and spread of a series of samples. A plain value, all zero when new.
struct WeightedStats {
  double last = 0;            ///< the latest sample
  double smoothed = 0;        ///< weighted mean of the samples
  double smoothedSquare = 0;  ///< weighted mean of their squares
  double deviation = 0;       ///< weighted standard deviation

  /// Statistics that have seen one sample.
  static WeightedStats seeded(double sample) { return {sample, sample, sample * sample, 0}; }

  /// Folds in a sample that stands for `dt` seconds, under the time constant `tc` (seconds): its weight is
  /// 1 − e^(−dt/tc), so that what is older than tc keeps 1/e of the weight; 1 if tc is not positive. A mean that is not
  /// finite, because a sample was not, gives way to the next sample.
  void update(double value, double tc, double dt) {
    const double weight = tc > 0 ? -std::expm1(-dt / tc) : 1;
    const auto fold = [weight](double& mean, double sample) {
      mean = std::isfinite(mean) ? mean + weight * (sample - mean) : sample;
    };
    last = value;
    fold(smoothed, value);
    fold(smoothedSquare, value * value);
    deviation = std::sqrt(std::max(0.0, smoothedSquare - smoothed * smoothed));
  }
};

}  // namespace corvane
