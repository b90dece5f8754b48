#include <QCoreApplication>
#include <QThread>
#include <QThreadPool>

#include "bench/queues/Queue.h"

namespace {

void async(benchmark::State& state) {
  QThreadPool pool;
  pool.setMaxThreadCount(1);
  bench::throughput(state, [&](bench::Countdown& countdown) { pool.start([&countdown] { countdown.run(); }); });
}

void sync(benchmark::State& state) {
  const bench::OneProcessor one;
  int argc = 0;
  QCoreApplication application(argc, nullptr);
  QThread thread;
  QObject receiver;
  receiver.moveToThread(&thread);
  thread.start();
  int count = 0;
  for (auto _ : state)
    QMetaObject::invokeMethod(
        &receiver, [&] { ++count; }, Qt::BlockingQueuedConnection);
  thread.quit();
  thread.wait();
}

CORVANE_BENCH_QUEUE(async, "QThreadPool of one");
CORVANE_BENCH_SYNC(sync, "QMetaObject blocking call");

}  // namespace
