#include "apps/inspector/text/ViewSettings.h"

#include <algorithm>
#include <optional>

#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/ProcessColumn.h"
#include "corvane/core/Text.h"
#include "corvane/infra/settings/DefaultSettings.h"

namespace corvane::inspector {

namespace {

// The words for the columns, in their order.
constexpr std::array<std::string_view, 5> COLUMNS = {"name", "count", "total", "interval", "duration"};

std::string_view wordOf(RepeaterColumn column) {
  return COLUMNS.at(static_cast<std::size_t>(column));
}

std::string_view wordOf(ProcessColumn column) {
  return styleOf(column).word;
}

bool readAverage(std::string_view text, ViewSettings& settings) {
  const auto seconds = numberIn<int>(text);
  if (!seconds || *seconds < RepeaterSource::MIN_TIME_CONSTANT || *seconds > RepeaterSource::MAX_TIME_CONSTANT)
    return false;
  settings.average = *seconds;
  return true;
}

template <class AnyColumn>
bool readOrder(std::string_view text, std::size_t columns, Order<AnyColumn>& order) {
  const auto read = Order<AnyColumn>::fromWord(text, columns, [](AnyColumn column) { return wordOf(column); });
  if (read) order = *read;
  return read.has_value();
}

bool readRepeaters(std::string_view text, ViewSettings& settings) {
  return readOrder(text, COLUMNS.size(), settings.repeaters);
}

bool readProcesses(std::string_view text, ViewSettings& settings) {
  return readOrder(text, PROCESS_COLUMNS.size(), settings.processes);
}

template <class AnyColumn>
Value word(const Order<AnyColumn>& order) {
  return Value(order.word([](AnyColumn column) { return wordOf(column); }));
}

}  // namespace

const std::array<ViewSetting, 3> VIEW_SETTINGS = {{
    {ViewSettings::AVERAGE, readAverage, [](const ViewSettings& settings) { return Value(settings.average); },
     "expects a whole number of seconds from 1 to 60"},
    {ViewSettings::SORT, readRepeaters, [](const ViewSettings& settings) { return word(settings.repeaters); },
     "expects name, count, total, interval or duration, optionally with - in front"},
    {ViewSettings::PROCESSES, readProcesses, [](const ViewSettings& settings) { return word(settings.processes); },
     "expects pid, parent, user, state, kind, cpu, memory, threads, time, name or command, optionally with - in front"},
}};

ViewSettings ViewSettings::load() {
  ViewSettings settings;
  for (const ViewSetting& setting : VIEW_SETTINGS)
    if (const auto text = UserDefaults::shared()->string(setting.key)) setting.read(*text, settings);
  return settings;
}

Result<void> ViewSettings::save(const ViewSettings& before) const {
  std::vector<UserDefaults::Change> changes;
  for (const ViewSetting& setting : VIEW_SETTINGS)
    if (Value value = setting.value(*this); value != setting.value(before))
      changes.push_back({std::string(setting.key), std::move(value)});
  return changes.empty() ? Result<void>() : UserDefaults::shared()->apply(changes);
}

}  // namespace corvane::inspector
