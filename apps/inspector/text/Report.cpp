#include "apps/inspector/text/Report.h"

#include <algorithm>
#include <cstdio>

#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ReadingRow.h"

namespace corvane::inspector {

namespace {

std::string throughputObject(const std::optional<Throughput>& value, std::string_view in, std::string_view out) {
  if (!value) return "null";
  return '{' + jsonString(in) + ":" + jsonNumber(value->in, 0) + "," + jsonString(out) + ":" +
         jsonNumber(value->out, 0) + "}";
}

std::string memoryObject(const std::optional<Memory>& memory) {
  if (!memory) return "null";
  return R"({"used":)" + std::to_string(memory->used) + R"(,"total":)" + std::to_string(memory->total) + "}";
}

std::string temperatureObject(const Temperature& temperature) {
  return R"({"sensor":)" + jsonString(temperature.sensor) + R"(,"celsius":)" + jsonNumber(temperature.celsius, 1) + "}";
}

std::string repeaterObject(const RepeaterRow& row) {
  return R"({"name":)" + jsonString(row.name) + R"(,"count":)" + std::to_string(row.count) + R"(,"total_seconds":)" +
         jsonNumber(row.totalSeconds, 6) + R"(,"average_interval_seconds":)" + jsonNumber(row.intervalSeconds, 6) +
         R"(,"average_duration_microseconds":)" + jsonNumber(row.durationUsec, 3) + "}";
}

}  // namespace

std::string plainLine(const Readings& readings, const Glyphs& glyphs) {
  std::string line = Timeval().localtime().substr(0, 8);
  for (const ReadingRow& row : READING_ROWS) {
    if (row.gauge == Gauge::TEMPERATURE && readings.temperatures.empty()) continue;
    const std::string value = row.value(readings, glyphs);
    line.append("  ").append(row.shortName).append(" ").append(value.empty() ? "-" : value);
  }
  return line;
}

std::string plainTable(const std::vector<RepeaterRow>& rows, const Glyphs& glyphs) {
  const auto line = [](const std::string& name, const std::string& count, const std::string& total,
                       const std::string& interval, const std::string& duration) {
    return alignedLeft(printable(name, Glyphs::UNICODE), 20) + alignedRight(count, 8) + alignedRight(total, 12) +
           alignedRight(interval, 13) + alignedRight(duration, 14) + "\n";
  };
  std::string table = line("Repeater", "Count", "Total s", "Interval s", "Duration " + std::string(glyphs.micro) + "s");
  for (const RepeaterRow& row : rows) {
    table += line(row.name, std::to_string(row.count), decimal(row.totalSeconds, 6), decimal(row.intervalSeconds, 3),
                  decimal(row.durationUsec, 1));
  }
  return table;
}

std::string jsonLine(const Readings& readings, const std::vector<RepeaterRow>& rows, Timeval time) {
  return R"({"time":)" + jsonString(iso8601(time)) + R"(,"processor_percent":)" + jsonNumber(readings.processor, 1) +
         R"(,"memory":)" + memoryObject(readings.memory) + R"(,"disk":)" +
         throughputObject(readings.disk, "read", "written") + R"(,"network":)" +
         throughputObject(readings.network, "received", "sent") + R"(,"processes":)" +
         (readings.processes ? std::to_string(*readings.processes) : "null") + R"(,"temperatures":)" +
         jsonArray(readings.temperatures, temperatureObject) + R"(,"repeaters":)" + jsonArray(rows, repeaterObject) +
         "}";
}

}  // namespace corvane::inspector
