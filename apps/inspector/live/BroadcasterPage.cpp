#include "apps/inspector/live/BroadcasterPage.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "apps/inspector/model/SortedTable.h"
#include "apps/inspector/text/Format.h"
#include "corvane/infra/Logger.h"

namespace corvane::inspector {

namespace {

constexpr std::size_t TABLE_COLUMNS = 80;  // it gets no wider: numbers far from their names are hard to read
constexpr std::size_t KEY_COLUMNS = 13;

// A row of the table; screens too narrow for all cells go without the less needed ones.
std::string row(const std::string& key, const std::string& listener, const std::string& count, const std::string& total,
                const std::string& average, std::size_t columns) {
  const std::size_t width = std::min(columns, TABLE_COLUMNS);
  std::string numbers;
  if (width >= 30) numbers += alignedRight(count, 8);
  if (width >= 60) numbers += alignedRight(total, 11);
  if (width >= 40) numbers += alignedRight(average, 12);
  const std::size_t names = width - std::min(width, numbers.size());
  std::string text = alignedLeft(clipped(key, std::min(names, KEY_COLUMNS)), std::min(names, KEY_COLUMNS));
  if (width >= 48) text += "  " + clipped(listener, names - KEY_COLUMNS - 2);
  return alignedLeft(text, names) + numbers;
}

// The class alone: the namespaces are the program's own.
std::string shortName(const std::string& type) {
  const auto colons = type.find('<') == type.npos ? type.rfind("::") : type.npos;
  return colons == type.npos ? type : type.substr(colons + 2);
}

}  // namespace

LogFigures LogFigures::of(const std::string& path) {
  LogFigures figures{path, std::nullopt, 0, 0};
  if (path.empty()) return figures;
  std::error_code error;
  if (const auto size = std::filesystem::file_size(path, error); !error) figures.size = size;
  for (std::int64_t number = 0; number <= Logger::MAX_LOGS; ++number)
    if (std::filesystem::exists(path + "." + std::to_string(number), error)) ++figures.archives;
  figures.lines = Logger::instance()->lines();
  return figures;
}

Frame broadcasterPage(const std::vector<broadcaster_stats>& listeners, const LogFigures& log, std::size_t columns,
                      const Glyphs& glyphs) {
  const std::string micro = std::string(glyphs.micro) + "s";
  Frame frame = {titleLine("Broadcaster", std::min(columns, TABLE_COLUMNS), glyphs),
                 {{row("Key", "Listener", "Count", "Total " + micro, "Average " + micro, columns), Style::HEADING}}};
  for (const broadcaster_stats& listener : listeners) {
    const std::string average =
        listener.count > 0 ? decimal(static_cast<double>(listener.elapsed) / static_cast<double>(listener.count), 1)
                           : "-";
    frame.push_back({{row(printable(listener.key, glyphs), printable(shortName(listener.listener), glyphs),
                          std::to_string(listener.count), std::to_string(listener.elapsed), average, columns)}});
  }

  frame.emplace_back();
  frame.push_back(titleLine("Log", std::min(columns, TABLE_COLUMNS), glyphs));
  const auto entry = [&frame](const std::string& name, const std::string& value) {
    frame.push_back({{alignedLeft(name, 10), Style::HEADING}, {value}});
  };
  if (log.path.empty()) {
    frame.push_back({{"This program keeps no log."}});
    return frame;
  }
  std::string name = "Path";
  for (const std::string& piece : wrapped(printable(log.path, glyphs), std::max<std::size_t>(columns, 20) - 10))
    entry(std::exchange(name, ""), piece);
  entry("Size", log.size ? std::to_string(*log.size) + " bytes; archived above " + std::to_string(Logger::MAX_LOG_SIZE)
                         : "there is no such file now");
  entry("Archives", std::to_string(log.archives) + " of " + std::to_string(Logger::MAX_LOGS + 1));
  entry("Lines", std::to_string(log.lines) + " by this process");
  return frame;
}

}  // namespace corvane::inspector
