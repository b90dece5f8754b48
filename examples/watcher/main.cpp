// watcher: tells which processes begin and end.

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"
#include "corvane/core/Timeval.h"
#include "corvane/system/PID.h"
#include "corvane/system/ProcessList.h"

using corvane::ProcessList;
using corvane::Timeval;

namespace {

constexpr const char* USAGE =
    "Usage: watcher [TEXT]\n"
    "Prints each process that begins (+) or ends (-), of those with this text in their names, until Ctrl+C.\n"
    "It looks four times a second: shorter lives go unseen.\n";

// A number is used again; together with its start it names one process.
using Key = std::pair<std::int32_t, Timeval>;
using Processes = std::map<Key, std::string>;

Processes take(ProcessList& list, std::string_view text) {
  Processes found;
  list.update();
  list.iterate([&](const ProcessList::Process& process) {
    if (process.name.find(text) != std::string_view::npos)
      found.emplace(Key(process.id, process.started), process.name);
  });
  return found;
}

void report(const Processes& before, const Processes& now) {
  for (const auto& [key, name] : before)
    if (!now.contains(key))
      std::printf("- %7d %s, after %.2f s\n", key.first, name.c_str(), static_cast<double>(key.second.elapsed()) / 1e6);
  for (const auto& [key, name] : now)
    if (!before.contains(key))
      std::printf("+ %7d %s: %s\n", key.first, name.c_str(), corvane::PID(key.first).commandLine().c_str());
  std::fflush(stdout);
}

}  // namespace

int main(int count, char** arguments) {
  const std::string text = count > 1 ? arguments[1] : "";
  if (text == "--help") return std::fputs(USAGE, stdout) < 0;
  if (count > 2) return std::fputs(USAGE, stderr), 2;

  ProcessList list;
  Processes known = take(list, text);
  if (text.empty() && known.empty()) {  // there is always this one
    std::fputs("watcher: the system does not tell its processes\n", stderr);
    return 1;
  }
  std::printf("%zu processes\n", known.size());

  corvane::MasterTimer::instance()->start();
  const auto look = std::make_shared<corvane::Repeater>("look at the processes");
  look->start(0.25, [&] {
    Processes now = take(list, text);
    report(known, now);
    known = std::move(now);
  });
  corvane::MainLoop::quitOnSignals();
  corvane::MainLoop::run();
}
