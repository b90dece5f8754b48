#include "corvane/infra/Trace.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string_view>

#include "corvane/core/Text.h"

namespace corvane {

namespace {

using Kind = ActivitySpan::Kind;

constexpr std::array<std::string_view, ActivitySpan::KINDS> CATEGORIES = {"repeater", "main queue", "main loop",
                                                                          "queue", "timer"};

// Exact, unlike a floating-point number.
std::string microseconds(std::int64_t nsec) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%s%lld.%03d", nsec < 0 ? "-" : "", std::abs(nsec / 1000LL),
                static_cast<int>(std::abs(nsec % 1000)));
  return text.data();
}

class TraceWriter {
 public:
  TraceWriter(const ProgramIdentity& program, const Recording& recording)
      : m_program(program), m_recording(recording), m_ids(",\"pid\":" + std::to_string(program.pid) + ",\"tid\":") {}

  std::string write() {
    for (const ActivitySpan& span : m_recording.spans) m_began = std::min(m_began, span.start);
    if (m_recording.spans.empty()) m_began = 0;
    metadata("process_name", 0, "\"name\":" + jsonString(m_program.name));
    nameThreads();
    for (const ActivitySpan& span : m_recording.spans) event(span);
    return "{\"traceEvents\":[\n" + m_events +
           "\n],\"displayTimeUnit\":\"ms\",\"otherData\":{\"identifier\":" + jsonString(m_program.identifier) +
           ",\"version\":" + jsonString(m_program.version) + ",\"began\":" + std::to_string(m_began) +
           ",\"lost\":" + std::to_string(m_recording.lost) + "}}\n";
  }

 private:
  struct Thread {
    bool isMain = false;
    std::map<std::string_view, std::int64_t> time;  // by name
  };

  void add(std::string event) { m_events.append(m_events.empty() ? "" : ",\n").append(std::move(event)); }

  void metadata(std::string_view name, std::uint32_t thread, const std::string& args) {
    add("{\"ph\":\"M\",\"name\":\"" + std::string(name) + "\"" + m_ids + std::to_string(thread) + ",\"args\":{" + args +
        "}}");
  }

  void nameThreads() {
    std::map<std::uint32_t, Thread> threads;
    for (const ActivitySpan& span : m_recording.spans) {
      Thread& thread = threads[span.thread];
      thread.isMain = thread.isMain || span.isOnMainThread();
      thread.time[span.name] += std::max<std::int64_t>(1, span.end - span.start);
    }
    for (const auto& [number, thread] : threads) {
      const auto mostly = std::ranges::max_element(thread.time, {}, [](const auto& entry) { return entry.second; });
      metadata("thread_name", number, "\"name\":" + (thread.isMain ? "\"main thread\"" : jsonString(mostly->first)));
      metadata("thread_sort_index", number, "\"sort_index\":" + std::to_string(thread.isMain ? 0 : number));
    }
  }

  void event(const ActivitySpan& span) {
    const bool hasEnded = span.end != 0;
    std::string text = hasEnded ? "{\"ph\":\"X\"" : "{\"ph\":\"B\"";
    text.append(",\"name\":").append(span.kind == Kind::MAIN_LOOP ? "\"turn\"" : jsonString(span.name));
    text.append(",\"cat\":\"").append(CATEGORIES.at(static_cast<std::size_t>(span.kind))).append("\"");
    text.append(m_ids).append(std::to_string(span.thread));
    text.append(",\"ts\":").append(microseconds(span.start - m_began));
    // The clock may have been set back.
    if (hasEnded) text.append(",\"dur\":").append(microseconds(std::max<std::int64_t>(0, span.end - span.start)));
    std::string args;
    if (!span.item.empty()) args.append("\"item\":").append(jsonString(span.item));
    if (span.waited > 0) args.append(args.empty() ? "" : ",").append("\"waited\":").append(microseconds(span.waited));
    if (!args.empty()) text.append(",\"args\":{").append(args).append("}");
    add(text + "}");
  }

  const ProgramIdentity& m_program;
  const Recording& m_recording;
  const std::string m_ids;
  std::int64_t m_began = INT64_MAX;
  std::string m_events;
};

}  // namespace

std::string traceJson(const ProgramIdentity& program, const Recording& recording) {
  return TraceWriter(program, recording).write();
}

}  // namespace corvane
