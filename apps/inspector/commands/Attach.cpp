#include "apps/inspector/commands/Attach.h"

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "apps/common/Output.h"
#include "apps/inspector/commands/ProgramChoice.h"
#include "apps/inspector/commands/View.h"
#include "apps/inspector/model/AttachedSource.h"
#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ProgramText.h"
#include "apps/inspector/text/Report.h"
#include "corvane/platform/Platform.h"

namespace corvane::inspector {

namespace {

// What a program shows, at one moment.
struct Figures {
  std::vector<RepeaterState> repeaters;
  QueueStates queues;
  std::vector<ListenerState> listeners;
};

Result<Figures> figuresOf(Inspectable& program) {
  auto repeaters = program.repeaters();
  if (!repeaters) return tl::unexpected(repeaters.error());
  auto queues = program.queues();
  if (!queues) return tl::unexpected(queues.error());
  auto listeners = program.listeners();
  if (!listeners) return tl::unexpected(listeners.error());
  return Figures{std::move(*repeaters), std::move(*queues), std::move(*listeners)};
}

std::string lineOf(const QueueStates& queues, const Glyphs& glyphs) {
  const auto longest = [&](const LongestState& state) {
    return (state.duration == 0 ? "-" : lengthText(secondsOf(state.duration))) +
           (state.name.empty() ? "" : " " + printable(state.name, glyphs));
  };
  return Timeval().localtime().substr(0, 8) + "  main queue: waiting " + std::to_string(queues.main.depth) +
         "  longest wait " + longest(queues.longestWait) + "  longest item " + longest(queues.longestItem);
}

int print(const ViewOptions& options, const ProgramIdentity& identity) {
  const bool json = options.format == ViewOptions::Format::JSON;
  const Glyphs& glyphs = Glyphs::ofLocale();
  const unsigned seconds = options.seconds.value_or(ViewOptions::DEFAULT_SECONDS);
  WatchedProgram program(identity);
  ProgramLink::Watch watch;
  std::vector<RepeaterRow> rows;
  auto next = std::chrono::steady_clock::now();
  for (unsigned second = 0; second < seconds; ++second) {
    (void)program.link()->keep(watch);  // without it the longest times are missing
    const auto figures = program.link()->ask(figuresOf);
    program.tell();
    if (figures) {
      const auto& [repeaters, queues, listeners] = *figures;
      const std::string line = json ? figuresObject(program.link()->identity(), repeaters, queues, listeners, Timeval())
                                    : lineOf(queues, glyphs);
      if (const int error = writeOut(line + "\n"); error != 0) return statusAfterOutput(error);
      rows.clear();
      for (const RepeaterState& state : repeaters) rows.push_back(rowOf(state.name, state));
    }
    std::this_thread::sleep_until(next += std::chrono::seconds(1));
  }
  return json ? 0 : statusAfterOutput(writeOut("\n" + plainTable(rows, glyphs)));
}

int show(Screen& screen, const ViewOptions& options, const ProgramIdentity& identity, const Stop& stop) {
  LocalSource local("");
  std::function<void()> refresh = [] {};
  AttachedSource source(local.machine(), platform().diagnosticsPort(), identity, [&refresh] { refresh(); });
  return showLive(screen, local.repeaters(), source, refresh, stop, options.seconds);
}

}  // namespace

int attach(const Arguments& arguments) {
  const auto options = ViewOptions::parseAttach(arguments);
  if (!options) return failUsage(options.error());
  return withProgram(options->program, [&](const ProgramIdentity& program) {
    bool isLive = options->format == ViewOptions::Format::LIVE;
    const auto showIfPossible = [&](const Stop& stop) {
      const auto screen = Screen::open();
      isLive = screen != nullptr;
      return isLive ? show(*screen, *options, program, stop) : 0;
    };
    const int status = isLive ? runOnMainLoop(showIfPossible) : 0;
    return isLive ? status : print(*options, program);
  });
}

}  // namespace corvane::inspector
