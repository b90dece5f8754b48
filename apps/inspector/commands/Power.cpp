#include "apps/inspector/commands/Power.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/commands/ChildCommand.h"
#include "apps/inspector/model/Assertions.h"
#include "apps/inspector/text/AssertionText.h"
#include "apps/inspector/text/Format.h"
#include "corvane/core/Text.h"
#include "corvane/platform/Platform.h"

namespace corvane::inspector {

namespace {

struct Options {
  bool json = false;
  bool watch = false;
  std::vector<std::string> types;
  std::optional<std::string> why;
  std::vector<std::string> command;
};

struct ShortName {
  std::string_view name;
  std::string_view type;
};

constexpr std::array SHORT_NAMES = {ShortName{"display", "PreventUserIdleDisplaySleep"},
                                    ShortName{"idle", "PreventUserIdleSystemSleep"},
                                    ShortName{"sleep", "PreventSystemSleep"}};

std::string typeOf(std::string_view name) {
  const auto found = std::ranges::find(SHORT_NAMES, name, &ShortName::name);
  return std::string(found == SHORT_NAMES.end() ? name : found->type);
}

tl::expected<void, std::string> read(OptionReader& option, Options& options) {
  if (option.name() == "--json" || option.name() == "--watch") {
    (option.name() == "--json" ? options.json : options.watch) = true;
    return option.noValue();
  }
  if (option.name() == "--prevent")
    return option.value().map([&](std::string_view name) { options.types.push_back(typeOf(name)); });
  if (option.name() == "--why") return option.value().map([&](std::string_view text) { options.why = text; });
  return option.unknown();
}

tl::expected<Options, std::string> parse(const Arguments& arguments) {
  Options options;
  for (OptionReader option(arguments); option.next();) {
    if (const auto operand = option.operand()) {
      // The command and everything after it.
      const auto begin = std::ranges::find(arguments, operand->data(), &std::string_view::data);
      options.command.assign(begin, arguments.end());
      break;
    }
    if (const auto taken = read(option, options); !taken) return tl::unexpected(taken.error());
  }
  const auto wrong = [](const char* text) { return tl::unexpected(std::string(text)); };
  if (options.types.empty()) {
    if (options.why) return wrong("--why: only with --prevent");
    if (!options.command.empty()) return wrong("power: a command is run only with --prevent");
    return options;
  }
  if (options.json || options.watch) return wrong("--prevent: not with --json or --watch");
  if (options.command.empty()) return wrong("--prevent: the command is missing");
  return options;
}

int list(bool json) {
  const auto records = readAssertions();
  if (!records) return fail("power: " + records.error().description);
  std::string text;
  if (json)
    for (const AssertionRecord& record : *records) text += "{" + assertionMembers(record) + "}\n";
  else if (!records->empty())
    text = assertionTable(*records, Glyphs::ofLocale(), terminalWidth());
  return statusAfterOutput(writeOut(text));
}

std::string eventText(const AssertionRecord& record, bool isTaken, bool json) {
  const Timeval now;
  if (!json)
    return now.localtime().substr(0, 8) + (isTaken ? "  +  " : "  -  ") + assertionLine(record, Glyphs::ofLocale()) +
           "\n";
  return R"({"time":)" + jsonString(iso8601(now)) + R"(,"event":)" + (isTaken ? R"("taken",)" : R"("released",)") +
         assertionMembers(record) + "}\n";
}

int watch(bool json) {
  std::vector<AssertionRecord> before;
  std::string trouble;
  for (;;) {
    const auto records = readAssertions();
    const std::string now = records ? std::string() : records.error().description;
    if (!now.empty() && now != trouble) report("power: " + now);
    trouble = now;
    if (records) {
      const AssertionChanges changes = changesBetween(before, *records);
      std::string text;
      for (const AssertionRecord& record : changes.released) text += eventText(record, false, json);
      for (const AssertionRecord& record : changes.taken) text += eventText(record, true, json);
      if (const int error = writeOut(text); error != 0) return statusAfterOutput(error);
      before = *records;
    }
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
}

std::string reasonFor(const std::vector<std::string>& command) {
  std::string text = "Running";
  for (const std::string& argument : command) text += " " + argument;
  return clipped(repaired(std::move(text)), 200);
}

int preventWhile(const Options& options) {
  const ChildCommand child;
  const std::string reason = options.why.value_or(reasonFor(options.command));
  for (const std::string& type : options.types) {
    // In force until this process ends.
    const auto held = platform().powerManager().create(type, reason);
    if (!held) return fail(printable(type + ": " + held.error().description, Glyphs::ofLocale()));
  }
  const auto task = child.run(options.command);
  return task ? ChildCommand::exitStatus(**task) : task.error();
}

}  // namespace

int power(const Arguments& arguments) {
  const auto options = parse(arguments);
  if (!options) return failUsage(options.error());
  if (!options->types.empty()) return preventWhile(*options);
  std::signal(SIGPIPE, SIG_IGN);
  return options->watch ? watch(options->json) : list(options->json);
}

}  // namespace corvane::inspector
