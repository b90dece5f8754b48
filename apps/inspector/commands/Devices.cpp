#include "apps/inspector/commands/Devices.h"

#include <csignal>
#include <string>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/model/DeviceTree.h"
#include "apps/inspector/text/DeviceText.h"

namespace corvane::inspector {

namespace {

struct Options {
  std::string className;
  bool properties = false;
  bool json = false;
};

tl::expected<Options, std::string> parse(const Arguments& arguments) {
  Options options;
  bool hasClass = false;
  for (OptionReader option(arguments); option.next();) {
    if (const auto name = option.operand()) {
      if (hasClass) return tl::unexpected(std::string(*name) + ": there is one class already");
      hasClass = true;
      options.className = *name;
    } else if (option.name() == "--properties" || option.name() == "--json") {
      (option.name() == "--json" ? options.json : options.properties) = true;
      if (const auto none = option.noValue(); !none) return tl::unexpected(none.error());
    } else {
      return option.unknown();
    }
  }
  if (options.json && options.properties) return tl::unexpected(std::string("--properties: not with --json"));
  if (!hasClass) options.className = "IOService";
  return options;
}

}  // namespace

int devices(const Arguments& arguments) {
  const auto options = parse(arguments);
  if (!options) return failUsage(options.error());
  const std::vector<DeviceRow> rows = deviceTree(options->className);
  if (rows.empty()) return fail("there is no device of the class \"" + options->className + "\"");
  std::signal(SIGPIPE, SIG_IGN);
  std::string text;
  if (options->json) {
    for (const DeviceRow& row : rows)
      if (row.matches) text += deviceObject(row) + "\n";
  } else {
    text = deviceTable(rows, options->properties, Glyphs::ofLocale(), terminalWidth());
  }
  return statusAfterOutput(writeOut(text));
}

}  // namespace corvane::inspector
