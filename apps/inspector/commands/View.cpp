#include "apps/inspector/commands/View.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <utility>

#include "apps/common/MainLoopSource.h"
#include "apps/common/Output.h"
#include "apps/inspector/live/LiveView.h"
#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/terminal/Screen.h"
#include "apps/inspector/text/Report.h"
#include "apps/inspector/text/ViewSettings.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/infra/Logger.h"
#include "corvane/infra/settings/UserDefaults.h"
#include "corvane/platform/EndSignals.h"

namespace corvane::inspector {

namespace {

/// Called when settings change; its name is shown on the broadcaster page.
struct SettingsReload {
  std::function<void()> reload;
  void operator()(std::string_view, const std::any&) const { reload(); }
};

}  // namespace

int showLive(Screen& screen, Repeaters& repeaters, Source& source, std::function<void()>& refresh, const Stop& stop,
             std::optional<unsigned> seconds) {
  LiveView view(source, Glyphs::ofLocale(), [&refresh] { refresh(); });
  view.apply(ViewSettings::load());
  refresh = [&] {
    screen.show(view.draw(static_cast<std::size_t>(screen.rows()), static_cast<std::size_t>(screen.columns())));
  };
  const auto keys = MainLoopSource::input(
      STDIN_FILENO,
      [&] {
        const ViewSettings before = view.settings();
        while (const auto pressed = screen.readKey()) {
          switch (view.press(*pressed)) {
            case LiveView::Request::NONE:
              break;
            case LiveView::Request::QUIT:
              MainLoop::quit();
              break;
            case LiveView::Request::SUSPEND:
              screen.suspend();
              break;
            case LiveView::Request::REDRAW:
              screen.redraw();
              break;
          }
        }
        view.settings().save(before);  // a failure is logged
        refresh();
      },
      [&stop] { stop(SIGHUP); });
  const auto resized = MainLoopSource::signal(SIGWINCH, [&] {
    screen.resize();
    refresh();
  });
  // Including changes by another live view and by the settings command.
  const auto changes = Listen(UserDefaults::DID_CHANGE, SettingsReload{[&] {
                                view.apply(ViewSettings::load());
                                refresh();
                              }});
  UserDefaults::shared()->observeChanges();
  Delayed end = seconds ? main_after(*seconds, MainLoop::quit) : Delayed();
  repeaters.start("live view", 1, refresh);
  MainLoop::run();
  end.cancel();
  refresh = [] {};
  return 0;
}

namespace {

int print(ViewOptions::Format format, LocalSource& source, unsigned seconds) {
  const bool json = format == ViewOptions::Format::JSON;
  const Glyphs& glyphs = Glyphs::ofLocale();
  const auto begin = std::chrono::steady_clock::now();
  int error = 0;
  bool first = true;
  source.repeaters().start(json ? "JSON output" : "plain output", 1, [&] {
    // The first run is immediate, when there are no rates yet.
    if (std::exchange(first, false)) return;
    const std::string line = json ? jsonLine(source.machine().readings(), source.repeaters().rows(), Timeval())
                                  : plainLine(source.machine().readings(), glyphs);
    error = writeOut(line + "\n");
    // Runs come slightly before or after the full second.
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    if (error != 0 || elapsed.count() + 0.5 >= seconds) MainLoop::quit();
  });
  MainLoop::run();
  if (!json && error == 0) error = writeOut('\n' + plainTable(source.repeaters().rows(), glyphs));
  return statusAfterOutput(error);
}

int run(const ViewOptions& options, const Stop& stop) {
  LocalSource source(options.root);
  const auto screen = options.format == ViewOptions::Format::LIVE ? Screen::open() : nullptr;
  std::function<void()> refresh;
  if (screen) return showLive(*screen, source.repeaters(), source, refresh, stop, options.seconds);
  return print(options.format, source, options.seconds.value_or(ViewOptions::DEFAULT_SECONDS));
}

}  // namespace

int runOnMainLoop(const std::function<int(const Stop&)>& run) {
  std::signal(SIGPIPE, SIG_IGN);
  const auto logger = Logger::instance();
  MasterTimer::instance()->start();
  int received = 0;
  int status = 0;
  {
    const auto stop = [&received](int number) {
      received = number;
      MainLoop::quit();
    };
    const EndSignals signals(stop);
    status = run(stop);
  }
  MasterTimer::instance()->stop();
  logger->close();
  // Shows the parent what ended the process.
  if (received != 0) std::raise(received);
  return status;
}

int view(const Arguments& arguments) {
  const auto options = ViewOptions::parse(arguments);
  if (!options) return failUsage(options.error());
  return runOnMainLoop([&](const Stop& stop) { return run(*options, stop); });
}

}  // namespace corvane::inspector
