#include "apps/inspector/commands/Watch.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <utility>

#include "apps/common/Output.h"
#include "apps/inspector/live/LiveView.h"
#include "apps/inspector/live/MainLoopSource.h"
#include "apps/inspector/live/ViewSettings.h"
#include "apps/inspector/terminal/Screen.h"
#include "apps/inspector/text/Report.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/infra/Logger.h"
#include "corvane/infra/settings/UserDefaults.h"

namespace corvane::inspector {

namespace {

/// What ends the program from outside.
class EndSignals {
 public:
  /// The signal that came; 0 if none.
  int received() const { return m_received; }

  void end(int number) {
    m_received = number;
    MainLoop::quit();
  }

 private:
  int m_received = 0;
  MainLoopSource m_hangup = MainLoopSource::signal(SIGHUP, [this] { end(SIGHUP); });
  MainLoopSource m_interrupt = MainLoopSource::signal(SIGINT, [this] { end(SIGINT); });
  MainLoopSource m_terminate = MainLoopSource::signal(SIGTERM, [this] { end(SIGTERM); });
};

/// Hears of changed settings.
class Changes : public Listener {
 public:
  explicit Changes(std::function<void()> changed) : m_changed(std::move(changed)) {}
  void onBroadcast(const std::string&, const std::any&) override { m_changed(); }

 private:
  const std::function<void()> m_changed;
};

int showLive(Screen& screen, Monitor& monitor, EndSignals& signals, std::optional<unsigned> seconds) {
  std::function<void()> refresh;
  LiveView view(monitor, Glyphs::ofLocale(), [&refresh] { refresh(); });
  view.apply(ViewSettings::load());
  refresh = [&] {
    screen.show(view.compose(static_cast<std::size_t>(screen.rows()), static_cast<std::size_t>(screen.columns())));
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
        view.settings().save(before);  // a failure goes to the log
        refresh();
      },
      [&signals] { signals.end(SIGHUP); });
  const auto resized = MainLoopSource::signal(SIGWINCH, [&] {
    screen.resize();
    refresh();
  });
  // Also those of another live view, and of the settings command.
  const auto changes = std::make_shared<Changes>([&] {
    view.apply(ViewSettings::load());
    refresh();
  });
  AddListener(std::string(UserDefaults::DID_CHANGE), changes);
  UserDefaults::shared()->observeChanges();
  const auto end = seconds ? MainLoopSource::after(*seconds, MainLoop::quit) : MainLoopSource();
  monitor.tasks().start("live view", 1, refresh);
  MainLoop::run();
  RemoveListener(std::string(UserDefaults::DID_CHANGE), changes);
  return 0;
}

int print(WatchOptions::Format format, Monitor& monitor, unsigned seconds) {
  const bool json = format == WatchOptions::Format::JSON;
  const Glyphs& glyphs = Glyphs::ofLocale();
  const auto begin = std::chrono::steady_clock::now();
  int error = 0;
  bool first = true;
  monitor.tasks().start(json ? "JSON output" : "plain output", 1, [&] {
    // The first run comes at once, when there are no rates yet.
    if (std::exchange(first, false)) return;
    const std::string line =
        json ? jsonLine(monitor.readings(), monitor.tasks().rows(), Timeval()) : plainLine(monitor.readings(), glyphs);
    error = writeOut(line + "\n");
    // Runs come a little before or after their second.
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    if (error != 0 || elapsed.count() + 0.5 >= seconds) MainLoop::quit();
  });
  MainLoop::run();
  if (!json && error == 0) error = writeOut("\n" + plainTable(monitor.tasks().rows(), glyphs));
  return statusAfterOutput(error);
}

int run(const WatchOptions& options, EndSignals& signals) {
  static constexpr unsigned DEFAULT_SECONDS = 10;
  Monitor monitor(options.root);
  const auto screen = options.format == WatchOptions::Format::LIVE ? Screen::open() : nullptr;
  if (screen) return showLive(*screen, monitor, signals, options.seconds);
  return print(options.format, monitor, options.seconds.value_or(DEFAULT_SECONDS));
}

}  // namespace

int watch(const Arguments& arguments) {
  const auto options = WatchOptions::parse(arguments);
  if (!options) return failUsage(options.error());
  std::signal(SIGPIPE, SIG_IGN);
  const auto logger = Logger::instance();
  MasterTimer::instance()->start();
  int received = 0;
  int status = 0;
  {
    EndSignals signals;
    status = run(*options, signals);
    received = signals.received();
  }
  MasterTimer::instance()->stop();
  logger->close();
  // Whoever waits for the process sees what ended it.
  if (received != 0) std::raise(received);
  return status;
}

}  // namespace corvane::inspector
