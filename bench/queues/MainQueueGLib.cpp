#include <glib.h>

#include "bench/locks/Futex.h"
#include "bench/queues/MainQueue.h"

namespace {

void invoke(benchmark::State& state) {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  bench::roundTrips(
      state, [&] { g_main_loop_run(loop); },
      [] {
        bench::Futex done;
        g_main_context_invoke(
            nullptr,
            [](gpointer data) -> gboolean {
              static_cast<bench::Futex*>(data)->signal(1);
              return G_SOURCE_REMOVE;
            },
            &done);
        done.waitFor(1);
      },
      [&] { g_main_loop_quit(loop); });
  g_main_loop_unref(loop);
}

CORVANE_BENCH_MAIN(invoke, "g_main_context_invoke");

}  // namespace
