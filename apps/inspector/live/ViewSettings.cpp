#include "apps/inspector/live/ViewSettings.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <optional>

#include "apps/common/Output.h"
#include "apps/inspector/text/TextFile.h"
#include "corvane/infra/settings/DefaultSettings.h"

namespace corvane::inspector {

namespace {

// The columns' words, in their order.
constexpr std::array<std::string_view, 5> COLUMNS = {"name", "count", "total", "interval", "duration"};

std::string_view wordOf(Column column) {
  return COLUMNS.at(static_cast<std::size_t>(column));
}

std::string_view wordOf(ProcessColumn column) {
  return styleOf(column).word;
}

// Each takes a setting from its text; false if that makes no sense.
bool readAverage(std::string_view text, ViewSettings& settings) {
  const auto seconds = numberIn<int>(text);
  if (!seconds || *seconds < Tasks::MIN_TIME_CONSTANT || *seconds > Tasks::MAX_TIME_CONSTANT) return false;
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

// Paths, the last of the columns, are not on the page.
bool readProcesses(std::string_view text, ViewSettings& settings) {
  return readOrder(text, static_cast<std::size_t>(ProcessColumn::PATH), settings.processes);
}

template <class AnyColumn>
Value word(const Order<AnyColumn>& order) {
  return Value(order.word([](AnyColumn column) { return wordOf(column); }));
}

struct Setting {
  std::string_view key;
  bool (*read)(std::string_view text, ViewSettings& settings);
  Value (*value)(const ViewSettings& settings);
  std::string_view expected;
};

constexpr std::array SETTINGS = {
    Setting{ViewSettings::AVERAGE, readAverage, [](const ViewSettings& settings) { return Value(settings.average); },
            "expects a whole number of seconds from 1 to 60"},
    Setting{ViewSettings::SORT, readRepeaters, [](const ViewSettings& settings) { return word(settings.repeaters); },
            "expects name, count, total, interval or duration, perhaps with - in front"},
    Setting{ViewSettings::PROCESSES, readProcesses,
            [](const ViewSettings& settings) { return word(settings.processes); },
            "expects pid, parent, user, state, kind, cpu, memory, threads, time or name, perhaps with - in front"},
};

int show(const ViewSettings& settings, std::optional<std::string_view> key) {
  std::string text;
  for (const Setting& setting : SETTINGS) {
    if (key && setting.key != *key) continue;
    if (!key) text.append(setting.key).append(" = ");
    const Value value = setting.value(settings);
    text += (value.isString() ? *value.asString() : std::to_string(*value.asInteger())) + "\n";
  }
  std::signal(SIGPIPE, SIG_IGN);
  return statusAfterOutput(writeOut(text));
}

}  // namespace

ViewSettings ViewSettings::load() {
  ViewSettings settings;
  for (const Setting& setting : SETTINGS)
    if (const auto text = UserDefaults::shared()->string(setting.key)) setting.read(*text, settings);
  return settings;
}

Result<void> ViewSettings::save(const ViewSettings& before) const {
  std::vector<UserDefaults::Change> changes;
  for (const Setting& setting : SETTINGS)
    if (Value value = setting.value(*this); value != setting.value(before))
      changes.push_back({std::string(setting.key), std::move(value)});
  return changes.empty() ? Result<void>() : UserDefaults::shared()->apply(changes);
}

int settings(const Arguments& arguments) {
  const auto outcome = [](const Result<void>& result) {
    return result ? 0 : fail("settings: " + result.error().description);
  };
  if (arguments.empty()) return show(ViewSettings::load(), std::nullopt);
  if (arguments.size() == 1 && arguments.front() == "--reset") {
    std::vector<UserDefaults::Change> changes;
    for (const Setting& setting : SETTINGS) changes.push_back({std::string(setting.key), std::nullopt});
    return outcome(UserDefaults::shared()->apply(changes));
  }
  const auto setting = std::ranges::find(SETTINGS, arguments.front(), &Setting::key);
  if (setting == SETTINGS.end()) return failUsage("settings: " + std::string(arguments.front()) + ": unknown setting");
  if (arguments.size() > 2) return failUsage("settings: expects a key and a value");
  if (arguments.size() == 1) return show(ViewSettings::load(), setting->key);
  ViewSettings wanted;
  if (!setting->read(arguments[1], wanted))
    return failUsage("settings: " + std::string(setting->key) + ": " + std::string(setting->expected));
  return outcome(UserDefaults::shared()->set(setting->key, setting->value(wanted)));
}

}  // namespace corvane::inspector
