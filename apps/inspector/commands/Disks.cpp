#include "apps/inspector/commands/Disks.h"

#include <csignal>
#include <string>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/text/DiskReport.h"

namespace corvane::inspector {

namespace {

// The request that the arguments stand for.
tl::expected<DiskRequest, std::string> parse(const Arguments& arguments, bool mounts) {
  DiskRequest request{.mounts = mounts};
  for (OptionReader option(arguments); option.next();) {
    if (auto name = option.operand()) {
      if (!request.device.empty()) return tl::unexpected(std::string("expects one NAME"));
      name->remove_prefix(name->starts_with("/dev/") ? 5 : 0);
      request.device = *name;
      continue;
    }
    if (option.name() != "--whole" && (mounts || option.name() != "--force")) return option.unknown();
    if (const auto plain = option.noValue(); !plain) return tl::unexpected(plain.error());
    (option.name() == "--whole" ? request.whole : request.force) = true;
  }
  if (request.device.empty()) return tl::unexpected(std::string("expects the NAME of a device"));
  return request;
}

int run(const Arguments& arguments, bool mounts) {
  const auto request = parse(arguments, mounts);
  if (!request) return failUsage((mounts ? "mount: " : "unmount: ") + request.error());
  std::signal(SIGPIPE, SIG_IGN);
  const DiskOutcome outcome = perform(*request);
  const std::string text = outcomeText(*request, outcome, Glyphs::ofLocale());
  return outcome.done ? statusAfterOutput(writeOut(text + "\n")) : fail(text);
}

}  // namespace

int disks(const Arguments& arguments) {
  bool json = false;
  for (OptionReader option(arguments); option.next(); json = true) {
    if (option.operand() || option.name() != "--json") return failUsage(option.unknown().value());
    if (const auto plain = option.noValue(); !plain) return failUsage(plain.error());
  }
  std::signal(SIGPIPE, SIG_IGN);
  const auto rows = readDisks();
  std::string text;
  if (json)
    for (const DiskRow& row : rows) text += diskObject(row) + "\n";
  else
    text = diskTable(rows, Glyphs::ofLocale(), terminalWidth());
  return statusAfterOutput(writeOut(text));
}

int mount(const Arguments& arguments) {
  return run(arguments, true);
}

int unmount(const Arguments& arguments) {
  return run(arguments, false);
}

}  // namespace corvane::inspector
