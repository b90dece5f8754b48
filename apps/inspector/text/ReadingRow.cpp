#include "apps/inspector/text/ReadingRow.h"

#include <algorithm>

#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

std::string processor(const Readings& readings, const Glyphs&) {
  return readings.processor ? decimal(*readings.processor, 1) + " %" : std::string();
}

std::string memory(const Readings& readings, const Glyphs&) {
  static constexpr double GIB = 1024.0 * 1024 * 1024;
  if (!readings.memory) return {};
  return decimal(static_cast<double>(readings.memory->used) / GIB, 2) + "/" +
         decimal(static_cast<double>(readings.memory->total) / GIB, 1) + " GiB";
}

template <auto THROUGHPUT, auto DIRECTION>
std::string throughput(const Readings& readings, const Glyphs&) {
  const std::optional<Throughput>& value = readings.*THROUGHPUT;
  return value ? rate((*value).*DIRECTION) : std::string();
}

std::string processes(const Readings& readings, const Glyphs&) {
  return readings.processes ? std::to_string(*readings.processes) : std::string();
}

std::string temperature(const Readings& readings, const Glyphs& glyphs) {
  const auto hottest = readings.hottest();
  return hottest ? decimal(*hottest, 1).append(" ").append(glyphs.degree).append("C") : std::string();
}

Range percent(const Readings&, Range) {
  return {0, 100};
}

Range ofMemory(const Readings& readings, Range shown) {
  return {0, readings.memory ? static_cast<double>(readings.memory->total) : shown.high};
}

Range fromZero(const Readings&, Range shown) {
  return {0, shown.high};
}

// Small changes of a large number are visible, but noise of one or two is not exaggerated.
Range aroundShown(const Readings&, Range shown) {
  static constexpr double SPAN = 8;
  const double missing = std::max(0.0, SPAN - (shown.high - shown.low));
  return {shown.low - missing / 2, shown.high + missing / 2};
}

}  // namespace

const std::array<ReadingRow, GAUGES> READING_ROWS = {{
    {Gauge::PROCESSOR, "Processor", "CPU", processor, percent},
    {Gauge::MEMORY, "Memory", "Mem", memory, ofMemory},
    {Gauge::DISK_READ, "Disk read", "Disk r", throughput<&Readings::disk, &Throughput::in>, fromZero},
    {Gauge::DISK_WRITE, "Disk write", "Disk w", throughput<&Readings::disk, &Throughput::out>, fromZero},
    {Gauge::NETWORK_IN, "Network in", "Net in", throughput<&Readings::network, &Throughput::in>, fromZero},
    {Gauge::NETWORK_OUT, "Network out", "Net out", throughput<&Readings::network, &Throughput::out>, fromZero},
    {Gauge::PROCESSES, "Processes", "Procs", processes, aroundShown},
    {Gauge::TEMPERATURE, "Temperature", "Temp", temperature, aroundShown},
}};

}  // namespace corvane::inspector
