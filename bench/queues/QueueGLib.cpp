#include <glib.h>

#include "bench/queues/Queue.h"

namespace {

void async(benchmark::State& state) {
  GThreadPool* pool = g_thread_pool_new([](gpointer data, gpointer) { static_cast<bench::Countdown*>(data)->run(); },
                                        nullptr, 1, TRUE, nullptr);
  bench::throughput(state, [&](bench::Countdown& countdown) { g_thread_pool_push(pool, &countdown, nullptr); });
  g_thread_pool_free(pool, FALSE, TRUE);
}

struct Call {
  GMutex mutex;
  GCond condition;
  bool done = false;
};

void sync(benchmark::State& state) {
  const bench::OneProcessor one;
  GThreadPool* pool = g_thread_pool_new(
      [](gpointer data, gpointer) {
        auto* call = static_cast<Call*>(data);
        g_mutex_lock(&call->mutex);
        call->done = true;
        g_cond_signal(&call->condition);
        g_mutex_unlock(&call->mutex);
      },
      nullptr, 1, TRUE, nullptr);
  for (auto _ : state) {
    Call call;
    g_mutex_init(&call.mutex);
    g_cond_init(&call.condition);
    g_thread_pool_push(pool, &call, nullptr);
    g_mutex_lock(&call.mutex);
    while (!call.done) g_cond_wait(&call.condition, &call.mutex);
    g_mutex_unlock(&call.mutex);
    g_cond_clear(&call.condition);
    g_mutex_clear(&call.mutex);
  }
  g_thread_pool_free(pool, FALSE, TRUE);
}

CORVANE_BENCH_QUEUE(async, "GThreadPool of one");
CORVANE_BENCH_SYNC(sync, "GThreadPool of one");

}  // namespace
