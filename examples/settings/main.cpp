// settings: values that outlive the program and that all its processes share. Start it in one terminal, and change
// something in another: the first hears of it at once.

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "corvane/core/MainQueue.h"
#include "corvane/core/Text.h"
#include "corvane/infra/settings/DefaultSettings.h"
#include "corvane/infra/settings/UserDefaults.h"

using corvane::Defaults;
using corvane::UserDefaults;

namespace {

constexpr const char* USAGE =
    "Usage: settings             show the settings, and each change to them until Ctrl+C\n"
    "       settings name TEXT   change the name\n"
    "       settings volume N    change the volume, from 0 to 10\n"
    "       settings reset       back to the defaults\n";

int fail(const std::string& message) {
  std::fprintf(stderr, "settings: %s\n", message.c_str());
  return 2;
}

void show(std::string_view key) {
  if (key == "name") std::printf("name: %s\n", Defaults.loadString("name", "").c_str());
  if (key == "volume") std::printf("volume: %lld\n", static_cast<long long>(Defaults.loadInteger("volume", 0)));
  std::fflush(stdout);
}

int change(const std::string& key, std::string_view text) {
  corvane::Value value(text);
  if (key == "volume") {
    const auto volume = corvane::numberIn<int>(text);
    if (!volume || *volume < 0 || *volume > 10) return fail("the volume is a number from 0 to 10");
    value = *volume;
  } else if (key != "name") {
    return fail("there is no setting " + key);
  }
  // Where nobody looks at the result, Defaults.saveInteger() and its siblings are shorter; they log a failure.
  const auto stored = UserDefaults::shared()->set(key, std::move(value));
  return stored ? 0 : fail(stored.error().description);
}

int watch() {
  // On the main queue, whoever has changed the value, for as long as the handle lives.
  const auto handle = UserDefaults::shared()->listen(show);
  show("name");
  show("volume");
  corvane::MainLoop::quitOnSignals();
  corvane::MainLoop::run();
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  // What holds while nothing is stored; never stored itself.
  UserDefaults::shared()->registerDefaults({{"name", "nobody"}, {"volume", 5}});

  const std::string first = count > 1 ? arguments[1] : "";
  if (first == "--help") return std::fputs(USAGE, stdout) < 0;
  if (count == 1) return watch();
  if (count == 3) return change(first, arguments[2]);
  if (count != 2 || first != "reset") return std::fputs(USAGE, stderr), 2;
  Defaults.removeAll();
}
