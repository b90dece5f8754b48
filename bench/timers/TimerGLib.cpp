#include <glib.h>

#include <deque>

#include "bench/timers/Timer.h"

namespace {

struct Timer {
  std::int64_t first;
  bench::Lateness& lateness;
  GMainLoop* loop;
};

void timeouts(benchmark::State& state, int count, std::int64_t interval) {
  for (auto _ : state) {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    std::deque<Timer> timers;
    std::deque<guint> sources;
    bench::Lateness lateness(CLOCK_MONOTONIC, count, interval);
    for (int i = 0; i < count; ++i) {
      lateness.spinUntilFirst(i);
      timers.push_back({bench::nowNsec(), lateness, loop});
      sources.push_back(g_timeout_add(
          static_cast<guint>(interval / 1'000'000),
          [](gpointer data) -> gboolean {
            auto* timer = static_cast<Timer*>(data);
            if (!timer->lateness.ran(timer->first)) g_main_loop_quit(timer->loop);
            return G_SOURCE_CONTINUE;
          },
          &timers.back()));
    }
    g_main_loop_run(loop);
    for (const guint source : sources) g_source_remove(source);
    g_main_loop_unref(loop);
    lateness.report(state);
  }
}

const bool s_registered = [] {
  bench::registerTimers("GLib timeout", timeouts);
  return true;
}();

}  // namespace
