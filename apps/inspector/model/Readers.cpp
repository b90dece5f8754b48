#include "apps/inspector/model/Readers.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>

#include "apps/inspector/model/TextFile.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

Folder openFolder(const std::string& path) {
  return {opendir(path.c_str()), closedir};
}

// The names in a folder with this prefix and suffix, sorted; empty if the folder cannot be read.
std::vector<std::string> namesIn(const std::string& path, std::string_view begin, std::string_view end) {
  std::vector<std::string> names;
  if (const Folder folder = openFolder(path)) {
    while (const dirent* entry = readdir(folder.get())) {
      const std::string_view name = entry->d_name;
      if (name.size() > begin.size() + end.size() && name.starts_with(begin) && name.ends_with(end))
        names.emplace_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string textIn(const std::string& path) {
  return std::string(trimmed(readText(path, 4096).value_or(std::string())));
}

// The file contains thousandths of a degree. Unconnected sensors report absurd numbers.
std::optional<double> celsiusIn(const std::string& path) {
  const auto thousandths = numberIn<std::int64_t>(textIn(path));
  if (!thousandths || *thousandths < -100'000 || *thousandths > 250'000) return std::nullopt;
  return static_cast<double>(*thousandths) / 1000;
}

}  // namespace

std::optional<ProcessorReader::Times> ProcessorReader::parse(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  const auto lines = linesOf(*text);
  const auto fields = lines.empty() ? std::vector<std::string_view>() : fieldsOf(lines.front());
  if (fields.size() < 5 || fields.front() != "cpu") return std::nullopt;
  // user nice system idle iowait irq softirq steal; the guests' times that follow are part of user and nice.
  static constexpr std::size_t IDLE = 4;
  static constexpr std::size_t IOWAIT = 5;
  static constexpr std::size_t LAST = 8;
  Times times;
  for (std::size_t i = 1; i < fields.size() && i <= LAST; ++i) {
    const auto ticks = numberIn<std::uint64_t>(fields[i]);
    if (!ticks || *ticks > std::numeric_limits<std::uint64_t>::max() - times.total) return std::nullopt;
    times.total += *ticks;
    if (i == IDLE || i == IOWAIT) times.idle += *ticks;
  }
  return times;
}

std::optional<double> ProcessorReader::read() {
  const auto before = std::exchange(m_before, parse(readText(m_path, 4096)));
  if (!before || !m_before || m_before->total <= before->total) return std::nullopt;
  // The time of waiting for disks may decrease a little.
  const auto idle = static_cast<double>(m_before->idle) - static_cast<double>(before->idle);
  return std::clamp(100 - 100 * idle / static_cast<double>(m_before->total - before->total), 0.0, 100.0);
}

std::optional<Memory> MemoryReader::read() const {
  const auto text = readText(m_path);
  if (!text) return std::nullopt;
  std::map<std::string_view, std::uint64_t> bytes;
  for (const std::string_view line : linesOf(*text)) {
    const auto fields = fieldsOf(line);
    if (fields.size() != 3 || fields[2] != "kB") continue;
    const auto kib = numberIn<std::uint64_t>(fields[1]);
    if (kib && *kib <= std::numeric_limits<std::uint64_t>::max() / 1024) bytes[fields[0]] = *kib * 1024;
  }
  const auto total = bytes.find("MemTotal:");
  const auto available = bytes.find("MemAvailable:");
  if (total == bytes.end() || available == bytes.end() || available->second > total->second) return std::nullopt;
  return Memory{total->second - available->second, total->second};
}

std::optional<Throughput> RateMeter::update(Devices devices, Moment now) {
  const Devices before = std::exchange(m_before, std::move(devices));
  const double seconds = std::chrono::duration<double>(now - std::exchange(m_when, now)).count();
  if (before.empty() || m_before.empty() || seconds <= 0) return std::nullopt;
  Throughput rate;
  for (const auto& [name, counters] : m_before) {
    const auto old = before.find(name);
    if (old == before.end() || counters.in < old->second.in || counters.out < old->second.out) continue;
    rate.in += static_cast<double>(counters.in - old->second.in) / seconds;
    rate.out += static_cast<double>(counters.out - old->second.out) / seconds;
  }
  return rate;
}

bool DiskReader::isPhysical(std::string name) const {
  std::replace(name.begin(), name.end(), '/', '!');  // as in folder names in /sys
  const std::string folder = m_root + "/sys/block/" + name;
  // Hidden disks are single paths to a disk that is listed too.
  return access((folder + "/device").c_str(), F_OK) == 0 && textIn(folder + "/hidden") != "1";
}

std::optional<Throughput> DiskReader::read(Moment now) {
  const auto text = readText(m_root + "/proc/diskstats");
  RateMeter::Devices disks;
  for (const std::string_view line : linesOf(text ? *text : std::string_view())) {
    const auto fields = fieldsOf(line);
    if (fields.size() < 10) continue;
    const auto sectorsRead = numberIn<std::uint64_t>(fields[5]);
    const auto sectorsWritten = numberIn<std::uint64_t>(fields[9]);
    if (!sectorsRead || !sectorsWritten || !isPhysical(std::string(fields[2]))) continue;
    disks[std::string(fields[2])] = {*sectorsRead, *sectorsWritten};
  }
  auto rate = m_meter.update(std::move(disks), now);
  if (!rate) return std::nullopt;
  static constexpr double SECTOR = 512;  // the unit of this file, whatever the disk's sector size
  return Throughput{rate->in * SECTOR, rate->out * SECTOR};
}

std::optional<Throughput> NetworkReader::read(Moment now) {
  const auto text = readText(m_path);
  RateMeter::Devices interfaces;
  for (const std::string_view line : linesOf(text ? *text : std::string_view())) {
    const auto colon = line.rfind(':');
    if (colon == std::string_view::npos) continue;
    const std::string_view name = trimmed(line.substr(0, colon));
    const auto fields = fieldsOf(line.substr(colon + 1));
    if (name == "lo" || fields.size() < 9) continue;
    const auto received = numberIn<std::uint64_t>(fields[0]);
    const auto sent = numberIn<std::uint64_t>(fields[8]);
    if (received && sent) interfaces[std::string(name)] = {*received, *sent};
  }
  return m_meter.update(std::move(interfaces), now);
}

std::optional<std::int64_t> ProcessReader::read() const {
  const Folder folder = openFolder(m_path);
  std::int64_t count = 0;
  while (const dirent* entry = folder ? readdir(folder.get()) : nullptr) {
    const std::string_view name = entry->d_name;
    if (name.find_first_not_of("0123456789") == std::string_view::npos) ++count;
  }
  return count > 0 ? std::optional(count) : std::nullopt;
}

std::vector<Temperature> TemperatureReader::read() const {
  std::vector<Temperature> temperatures;
  const std::string monitors = m_root + "/sys/class/hwmon/";
  for (const std::string& monitor : namesIn(monitors, "hwmon", "")) {
    const std::string folder = monitors + monitor + "/";
    const std::string name = textIn(folder + "name");
    static constexpr std::string_view INPUT = "_input";
    for (const std::string& input : namesIn(folder, "temp", INPUT)) {
      const auto celsius = celsiusIn(folder + input);
      if (!celsius) continue;
      const std::string stem = input.substr(0, input.size() - INPUT.size());
      const std::string label = textIn(folder + stem + "_label");
      temperatures.push_back({name + " " + (label.empty() ? stem : label), *celsius});
    }
  }
  if (!temperatures.empty()) return temperatures;
  const std::string zones = m_root + "/sys/class/thermal/";
  for (const std::string& zone : namesIn(zones, "thermal_zone", "")) {
    if (const auto celsius = celsiusIn(zones + zone + "/temp"))
      temperatures.push_back({textIn(zones + zone + "/type"), *celsius});
  }
  return temperatures;
}

}  // namespace corvane::inspector
