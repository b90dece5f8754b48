#include "apps/inspector/commands/ViewOptions.h"

#include "apps/common/OptionReader.h"
#include "apps/inspector/commands/ProgramChoice.h"

namespace corvane::inspector {

namespace {

tl::expected<ViewOptions, std::string> read(const Arguments& arguments, bool attaches) {
  using Format = ViewOptions::Format;
  ViewOptions options;
  const auto choose = [&options](Format wanted) {
    if (options.format != Format::LIVE && options.format != wanted) return false;
    options.format = wanted;
    return true;
  };
  for (OptionReader option(arguments); option.next();) {
    if (const auto operand = attaches ? option.operand() : std::nullopt) {
      if (const auto taken = takeProgram(*operand, options.program); !taken) return tl::unexpected(taken.error());
    } else if (option.name() == "--json" || option.name() == "--plain") {
      if (const auto none = option.noValue(); !none) return tl::unexpected(none.error());
      if (!choose(option.name() == "--json" ? Format::JSON : Format::PLAIN))
        return option.failure("choose --json or --plain");
    } else if (option.name() == "--root" && !attaches) {
      const auto root = option.value();
      if (!root) return tl::unexpected(root.error());
      options.root = *root;
    } else if (option.name() == "--for") {
      const auto seconds = option.seconds();
      if (!seconds) return tl::unexpected(seconds.error());
      options.seconds = *seconds;
    } else {
      return option.unknown();
    }
  }
  if (attaches && options.program.empty()) return tl::unexpected(std::string("attach: the application is missing"));
  return options;
}

}  // namespace

tl::expected<ViewOptions, std::string> ViewOptions::parse(const Arguments& arguments) {
  return read(arguments, false);
}

tl::expected<ViewOptions, std::string> ViewOptions::parseAttach(const Arguments& arguments) {
  return read(arguments, true);
}

}  // namespace corvane::inspector
