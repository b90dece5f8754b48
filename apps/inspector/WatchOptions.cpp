#include "apps/inspector/WatchOptions.h"

#include "apps/inspector/TextFile.h"

namespace corvane::inspector {

tl::expected<WatchOptions, std::string> WatchOptions::parse(const Arguments& arguments) {
  WatchOptions options;
  const auto fail = [](std::string_view option, std::string_view reason) {
    return tl::unexpected(std::string(option).append(": ").append(reason));
  };
  const auto choose = [&options](Format wanted) {
    if (options.format != Format::LIVE && options.format != wanted) return false;
    options.format = wanted;
    return true;
  };
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const auto equals = arguments[i].find('=');
    const std::string_view name = arguments[i].substr(0, equals);
    std::optional<std::string_view> value;
    if (equals != std::string_view::npos) value = arguments[i].substr(equals + 1);

    if (name == "--json" || name == "--plain") {
      if (value) return fail(name, "takes no value");
      if (!choose(name == "--json" ? Format::JSON : Format::PLAIN)) return fail(name, "choose --json or --plain");
    } else if (name == "--for" || name == "--root") {
      if (!value && i + 1 < arguments.size()) value = arguments[++i];
      if (!value || value->empty()) return fail(name, "the value is missing");
      if (name == "--root") {
        options.root = *value;
        continue;
      }
      options.seconds = numberIn<unsigned>(*value);
      if (!options.seconds || *options.seconds < 1 || *options.seconds > MAX_SECONDS)
        return fail(name, "expects a whole number of seconds from 1 to 1000000");
    } else {
      return fail(arguments[i], "unknown option");
    }
  }
  return options;
}

}  // namespace corvane::inspector
