#include "apps/inspector/commands/Ps.h"

#include <pwd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/commands/Picture.h"
#include "apps/inspector/model/FigureReader.h"
#include "apps/inspector/model/Order.h"
#include "apps/inspector/model/ProcessSample.h"
#include "apps/inspector/svg/ProcessTree.h"
#include "apps/inspector/text/ProcessColumn.h"
#include "apps/inspector/text/ProcessReport.h"
#include "corvane/core/Text.h"

namespace corvane::inspector {

namespace {

struct Options {
  unsigned seconds = 1;
  Order<ProcessColumn> order = {ProcessColumn::PID, false};
  std::optional<uid_t> user;
  std::string filter;
  bool all = false;
  bool json = false;
  bool tree = false;
  std::string file;
  std::optional<std::size_t> hide;
};

std::optional<uid_t> userOf(std::string_view text) {
  if (const passwd* user = getpwnam(std::string(text).c_str())) return user->pw_uid;
  return numberIn<uid_t>(text);
}

// Stores the option's value in the options; an error if it is invalid.
tl::expected<void, std::string> read(OptionReader& option, Options& options) {
  if (option.name() == "--for") return option.seconds().map([&](unsigned seconds) { options.seconds = seconds; });
  if (option.name() == "--json" || option.name() == "--tree" || option.name() == "--all") {
    (option.name() == "--json" ? options.json : option.name() == "--tree" ? options.tree : options.all) = true;
    return option.noValue();
  }
  static constexpr std::array<std::string_view, 5> WITH_TEXT = {"--sort", "--user", "--filter", "--svg", "--hide"};
  if (std::ranges::find(WITH_TEXT, option.name()) == WITH_TEXT.end()) return option.unknown();
  const auto text = option.value();
  if (!text) return tl::unexpected(text.error());
  if (option.name() == "--sort") {
    const auto order = Order<ProcessColumn>::fromWord(*text, PROCESS_COLUMNS.size(),
                                                      [](ProcessColumn column) { return styleOf(column).word; });
    if (!order) return option.failure("there is no such column");
    options.order = *order;
  } else if (option.name() == "--user") {
    options.user = userOf(*text);
    if (!options.user) return option.failure("there is no such user");
  } else if (option.name() == "--filter") {
    options.filter = *text;
  } else if (option.name() == "--svg") {
    options.file = *text;
  } else {
    options.hide = numberIn<std::size_t>(*text);
    if (!options.hide) return option.failure("expects a whole number");
  }
  return {};
}

tl::expected<Options, std::string> parse(const Arguments& arguments) {
  Options options;
  for (OptionReader option(arguments); option.next();)
    if (const auto taken = read(option, options); !taken) return tl::unexpected(taken.error());
  if (options.tree && options.json) return tl::unexpected(std::string("--tree: not with --json"));
  if (options.tree && options.file.empty()) return tl::unexpected(std::string("--tree: expects --svg FILE"));
  if (!options.tree && !options.file.empty()) return tl::unexpected(std::string("--svg: only with --tree"));
  if (options.all && options.tree) return tl::unexpected(std::string("--all: not with --tree"));
  if (!options.all && isFigure(options.order.column))
    return tl::unexpected(std::string("--sort: this column only with --all"));
  if (!options.tree && options.hide) return tl::unexpected(std::string("--hide: only with --tree"));
  return options;
}

// Keeps the processes that the user asks for; for a tree, also those above them.
void select(std::vector<ProcessRow>& rows, const Options& options) {
  const ProcessFilter filter(options.filter);
  std::map<pid_t, pid_t> parents;
  std::set<pid_t> wanted;
  for (const ProcessRow& row : rows) parents[row.pid] = row.parent;
  for (const ProcessRow& row : rows) {
    if ((options.user && row.uid != *options.user) || !filter.matches(row)) continue;
    for (auto process = parents.find(row.pid); process != parents.end() && wanted.insert(process->first).second;) {
      if (!options.tree || row.kind == ProcessKind::KERNEL) break;
      process = parents.find(process->second);
    }
  }
  std::erase_if(rows, [&](const ProcessRow& row) { return !wanted.contains(row.pid); });
}

int draw(const std::vector<ProcessRow>& rows, const Options& options) {
  return writePicture(options.file, SvgTree::svg(*processTree(rows, options.hide), "Processes"));
}

}  // namespace

int ps(const Arguments& arguments) {
  const auto options = parse(arguments);
  if (!options) return failUsage(options.error());
  std::signal(SIGPIPE, SIG_IGN);
  std::optional<FigureReader> figures;
  if (options->all) figures.emplace();
  ProcessSampler sampler;
  std::this_thread::sleep_for(std::chrono::seconds(options->seconds));
  auto rows = sampler.sample();
  if (!rows) return fail(rows.error().description);
  if (figures)
    if (const auto added = figures->addTo(*rows); !added) return fail("--all: " + added.error().description);
  select(*rows, *options);
  sortRows(*rows, options->order.column, options->order.descending);
  if (options->tree) return draw(*rows, *options);
  std::string text;
  if (options->json)
    for (const ProcessRow& row : *rows) text += processObject(row) + "\n";
  else
    text = processTable(*rows, Glyphs::ofLocale(), terminalWidth());
  return statusAfterOutput(writeOut(text));
}

}  // namespace corvane::inspector
