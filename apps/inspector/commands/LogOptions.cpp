#include "apps/inspector/commands/LogOptions.h"

#include "apps/common/OptionReader.h"
#include "apps/inspector/model/TextFile.h"
#include "corvane/infra/Logger.h"

namespace corvane::inspector {

tl::expected<LogOptions, std::string> LogOptions::parse(const Arguments& arguments) {
  LogOptions options;
  bool linesGiven = false;
  for (OptionReader option(arguments); option.next();) {
    if (option.name() == "--follow" || option.name() == "--archives") {
      if (const auto none = option.noValue(); !none) return tl::unexpected(none.error());
      (option.name() == "--follow" ? options.follow : options.listArchives) = true;
    } else if (option.name() == "--lines") {
      const auto number = option.value().map(numberIn<unsigned>);
      if (!number) return tl::unexpected(number.error());
      if (!*number || **number > MAX_LINES) return option.failure("expects a whole number from 0 to 1000000");
      options.lines = **number;
      linesGiven = true;
    } else if (option.name() == "--archive") {
      const auto number = option.value().map(numberIn<unsigned>);
      if (!number) return tl::unexpected(number.error());
      if (!*number || **number > Logger::MAX_LOGS) return option.failure("expects a number from 0 to 10");
      options.archive = **number;
    } else if (option.name() == "--identifier") {
      const auto identifier = option.value();
      if (!identifier) return tl::unexpected(identifier.error());
      // It is used as the name of a folder.
      if (*identifier == "." || *identifier == ".." || identifier->find('/') != identifier->npos)
        return option.failure("expects an identifier like org.corvane.Inspector");
      options.identifier = *identifier;
    } else {
      return option.unknown();
    }
  }
  if (options.listArchives && (linesGiven || options.follow || options.archive))
    return tl::unexpected(std::string("--archives: only with --identifier, or alone"));
  if (options.archive && options.follow) return tl::unexpected(std::string("--follow: an archive does not grow"));
  return options;
}

}  // namespace corvane::inspector
