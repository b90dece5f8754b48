#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/inspector/model/ProgramList.h"
#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/Glyphs.h"
#include "corvane/core/Timeval.h"
#include "corvane/platform/DiagnosticsPort.h"

namespace corvane::inspector {

// Texts about a program that is looked at. They contain unchecked text of that program.

/// Why a program's figures do not come; empty if they do.
std::string absenceOf(std::string_view program, Presence presence);

/// A length of time: "0.025 ms", "350 ms", "1.25 s".
std::string lengthText(double seconds);

/// Nanoseconds as seconds.
constexpr double secondsOf(std::int64_t nsec) {
  return static_cast<double>(nsec) / 1e9;
}

/// What a span was about: a repeater's name, an item's type, or that nobody knows.
std::string subjectOf(const ActivitySpan& span);

/// A program in one line: "4711  Atlas  org.example.Atlas  /usr/bin/atlas".
std::string programLine(const ProgramIdentity& program, const Glyphs& glyphs);

/// The programs as a table, with those that do not answer.
std::string programTable(const std::vector<RunningProgram>& programs, const Glyphs& glyphs,
                         std::optional<std::size_t> width);

/// A program as a JSON object.
std::string programObject(const RunningProgram& program);

/// What a program shows, as a JSON object in one line.
std::string figuresObject(const ProgramIdentity& program, const std::vector<RepeaterState>& repeaters,
                          const QueueStates& queues, const std::vector<ListenerState>& listeners, Timeval time);

/// A long span as the members of a JSON object, without braces. `now` ends one that goes on.
std::string spanMembers(const ActivitySpan& span, std::int64_t now);

}  // namespace corvane::inspector
