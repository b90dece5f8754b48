#include "apps/inspector/commands/Settings.h"

#include <algorithm>
#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/Output.h"
#include "apps/inspector/text/ViewSettings.h"
#include "corvane/infra/settings/UserDefaults.h"

namespace corvane::inspector {

namespace {

int show(const ViewSettings& settings, std::optional<std::string_view> key) {
  std::string text;
  for (const ViewSetting& setting : VIEW_SETTINGS) {
    if (key && setting.key != *key) continue;
    if (!key) text.append(setting.key).append(" = ");
    const Value value = setting.value(settings);
    text += (value.isString() ? *value.asString() : std::to_string(*value.asInteger())) + "\n";
  }
  std::signal(SIGPIPE, SIG_IGN);
  return statusAfterOutput(writeOut(text));
}

}  // namespace

int settings(const Arguments& arguments) {
  const auto outcome = [](const Result<void>& result) {
    return result ? 0 : fail("settings: " + result.error().description);
  };
  if (arguments.empty()) return show(ViewSettings::load(), std::nullopt);
  if (arguments.size() == 1 && arguments.front() == "--reset") {
    std::vector<UserDefaults::Change> changes;
    for (const ViewSetting& setting : VIEW_SETTINGS) changes.push_back({std::string(setting.key), std::nullopt});
    return outcome(UserDefaults::shared()->apply(changes));
  }
  const auto setting = std::ranges::find(VIEW_SETTINGS, arguments.front(), &ViewSetting::key);
  if (setting == VIEW_SETTINGS.end())
    return failUsage("settings: " + std::string(arguments.front()) + ": unknown setting");
  if (arguments.size() > 2) return failUsage("settings: expects a key and a value");
  if (arguments.size() == 1) return show(ViewSettings::load(), setting->key);
  ViewSettings wanted;
  if (!setting->read(arguments[1], wanted))
    return failUsage("settings: " + std::string(setting->key) + ": " + std::string(setting->expected));
  return outcome(UserDefaults::shared()->set(setting->key, setting->value(wanted)));
}

}  // namespace corvane::inspector
