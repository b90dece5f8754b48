#include <QCoreApplication>

#include "bench/queues/MainQueue.h"

namespace {

void blockingCall(benchmark::State& state) {
  int argc = 0;
  QCoreApplication application(argc, nullptr);
  QObject receiver;
  int count = 0;
  bench::roundTrips(
      state, [&] { application.exec(); },
      [&] {
        QMetaObject::invokeMethod(
            &receiver, [&] { ++count; }, Qt::BlockingQueuedConnection);
      },
      [&] { QMetaObject::invokeMethod(&application, &QCoreApplication::quit, Qt::QueuedConnection); });
}

CORVANE_BENCH_MAIN(blockingCall, "QMetaObject blocking call");

}  // namespace
