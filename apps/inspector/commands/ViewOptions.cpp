#include "apps/inspector/commands/ViewOptions.h"

#include "apps/common/OptionReader.h"

namespace corvane::inspector {

tl::expected<ViewOptions, std::string> ViewOptions::parse(const Arguments& arguments) {
  ViewOptions options;
  const auto choose = [&options](Format wanted) {
    if (options.format != Format::LIVE && options.format != wanted) return false;
    options.format = wanted;
    return true;
  };
  for (OptionReader option(arguments); option.next();) {
    if (option.name() == "--json" || option.name() == "--plain") {
      if (const auto none = option.noValue(); !none) return tl::unexpected(none.error());
      if (!choose(option.name() == "--json" ? Format::JSON : Format::PLAIN))
        return option.failure("choose --json or --plain");
    } else if (option.name() == "--root") {
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
  return options;
}

}  // namespace corvane::inspector
