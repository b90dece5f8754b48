#pragma once

#include <functional>
#include <optional>

#include "apps/inspector/commands/ViewOptions.h"
#include "apps/inspector/model/Repeaters.h"
#include "apps/inspector/model/Source.h"
#include "apps/inspector/terminal/Screen.h"

namespace corvane::inspector {

/// The view command: shows the readings until the time is over or the user ends it; returns the exit status. A SIGHUP,
/// SIGINT or SIGTERM also ends it properly and then has its usual effect.
int view(const Arguments& arguments);

/// Ends the main loop as the signal with this number does.
using Stop = std::function<void(int number)>;

/// Runs a command that uses repeaters and the main loop. Signals that end it end the main loop first.
int runOnMainLoop(const std::function<int(const Stop&)>& run);

/// Shows a source on the screen until the user quits, or for so many seconds. `repeaters` are this program's. While it
/// is shown `refresh` draws it.
int showLive(Screen& screen, Repeaters& repeaters, Source& source, std::function<void()>& refresh, const Stop& stop,
             std::optional<unsigned> seconds);

}  // namespace corvane::inspector
