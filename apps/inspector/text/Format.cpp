#include "apps/inspector/text/Format.h"

#include <time.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "apps/inspector/text/Characters.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

bool beginsCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

}  // namespace

std::string rate(double bytesPerSecond) {
  static constexpr std::array UNITS = {"kB/s", "MB/s", "GB/s", "TB/s"};
  if (bytesPerSecond < 999.5) return decimal(bytesPerSecond, 0) + " B/s";
  std::size_t unit = 0;
  double value = bytesPerSecond / 1000;
  for (; value >= 999.95 && unit + 1 < UNITS.size(); ++unit) value /= 1000;
  return decimal(value, 1) + " " + UNITS[unit];
}

std::string bytes(std::uint64_t count) {
  static constexpr std::array UNITS = {"MiB", "GiB", "TiB"};
  double value = static_cast<double>(count) / 1024;
  if (value < 999.5) return decimal(value, 0) + " KiB";
  std::size_t unit = 0;
  for (value /= 1024; value >= 999.95 && unit + 1 < UNITS.size(); ++unit) value /= 1024;
  return decimal(value, 1) + " " + UNITS[unit];
}

std::string duration(std::int64_t usec) {
  const auto digits = [](std::int64_t number) { return std::to_string(100 + number).substr(1); };
  const std::int64_t hundredths = usec / 10'000, minutes = hundredths / 6000;
  const std::string seconds = digits(hundredths / 100 % 60);
  if (minutes < 60) return std::to_string(minutes) + ":" + seconds + "." + digits(hundredths % 100);
  return std::to_string(minutes / 60) + ":" + digits(minutes % 60) + ":" + seconds;
}

std::string iso8601(Timeval time) {
  const time_t seconds = time.sec();
  tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 64> text{};
  const auto length = strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
  const std::string msec = std::to_string(1000 + time.msec() % 1000).substr(1);
  return std::string(text.data(), length) + "." + msec + "Z";
}

std::size_t columnsOf(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), beginsCharacter));
}

std::string clipped(std::string_view text, std::size_t columns) {
  std::size_t end = 0;
  for (; end < text.size(); ++end) {
    if (!beginsCharacter(text[end])) continue;
    if (columns == 0) break;
    --columns;
  }
  return std::string(text.substr(0, end));
}

std::string alignedRight(std::string_view text, std::size_t columns) {
  return std::string(columns - std::min(columns, columnsOf(text)), ' ').append(text);
}

std::string alignedLeft(std::string_view text, std::size_t columns) {
  return std::string(text).append(columns - std::min(columns, columnsOf(text)), ' ');
}

std::vector<std::string> wrapped(std::string_view text, std::size_t columns) {
  std::vector<std::string> lines;
  std::string indent;
  do {
    std::string piece = clipped(text, std::max(columns, indent.size() + 1) - indent.size());
    const auto blank = piece.rfind(' ');
    // Breaks at a blank, unless that leaves most of the line empty.
    if (piece.size() < text.size() && blank != piece.npos && blank > piece.size() / 2) piece.resize(blank + 1);
    lines.push_back(indent + piece);
    text.remove_prefix(piece.size());
    indent = "  ";
  } while (!text.empty());
  return lines;
}

std::string printable(std::string_view text, const Glyphs& glyphs) {
  std::string result;
  while (!text.empty()) {
    const std::string_view before = text;
    const char32_t character = takeCharacter(text);
    if (columnsOf(character) == 1 && (character < 0x80 || !glyphs.ascii))
      result.append(before.substr(0, before.size() - text.size()));
    else
      result += '?';
  }
  return result;
}

std::string jsonNumber(std::optional<double> value, int decimals) {
  return value && std::isfinite(*value) ? decimal(*value, decimals) : "null";
}

}  // namespace corvane::inspector
