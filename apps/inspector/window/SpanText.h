#pragma once

#include <QString>
#include <cstdint>

#include "apps/inspector/window/TimelineLanes.h"

namespace corvane::inspector {

/// What a kind of span is called: "Repeater", "Main queue".
QString titleOf(ActivitySpan::Kind kind);

/// What a span is called: its name and, of an item of a queue, its type.
QString titleOf(const TimelineLanes::Name& name);

/// A length of time with three digits and its unit, in the user's locale: "850 ns", "12.3 µs", "1.20 s".
QString durationText(std::int64_t nsec);

/// A place on an axis whose ticks are `step` nanoseconds apart, counted from its beginning: "1.25 s", "1,250 ms".
QString offsetText(std::int64_t nsec, double step);

/// The time of day of a moment, with milliseconds.
QString momentText(std::int64_t moment);

/// The name, kind, duration and wait of a span, a line for each.
QString tipOf(const TimelineLanes& lanes, const TimelineLanes::Span& span);

/// The same and when it began, in one line.
QString lineOf(const TimelineLanes& lanes, const TimelineLanes::Span& span);

}  // namespace corvane::inspector
