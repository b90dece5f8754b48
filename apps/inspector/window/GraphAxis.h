#pragma once

#include <QDateTime>
#include <QString>
#include <cstdint>
#include <vector>

#include "apps/inspector/model/History.h"

namespace corvane::inspector {

/// What the values of a graph are.
enum class Unit { PERCENT, BYTES, BYTES_PER_SECOND, CELSIUS, COUNT };

/// A value with its unit, in the user's locale.
QString valueText(double value, Unit unit);

/// A place on an axis, and what stands there.
struct Tick {
  double place;
  QString text;
};

/// A vertical axis: its ends, and about `most` round values, from the lowest.
struct ValueAxis {
  /// With `isExact` the ends are those of the range; otherwise they are the next round values.
  ValueAxis(Range range, bool isExact, int most, Unit unit);

  Range range;
  std::vector<Tick> ticks;
};

/// Round times of the day within the last `span` seconds, at most `most`, from the latest: their places are the seconds
/// before `now`.
std::vector<Tick> timeTicks(const QDateTime& now, double span, int most);

/// A time of the day with seconds, in the user's locale.
QString timeText(const QTime& time, bool withMilliseconds = false);

/// A length of time: "0:01:15", and from one day on "3 d 0:01:15".
QString lengthText(std::int64_t seconds);

}  // namespace corvane::inspector
