#include <boost/asio.hpp>
#include <future>

#include "bench/queues/Queue.h"

namespace {

void async(benchmark::State& state) {
  boost::asio::thread_pool pool(1);
  auto strand = boost::asio::make_strand(pool);
  bench::throughput(state,
                    [&](bench::Countdown& countdown) { boost::asio::post(strand, [&countdown] { countdown.run(); }); });
  pool.join();
}

void sync(benchmark::State& state) {
  const bench::OneProcessor one;
  boost::asio::thread_pool pool(1);
  auto strand = boost::asio::make_strand(pool);
  int count = 0;
  for (auto _ : state) boost::asio::post(strand, boost::asio::use_future([&] { ++count; })).wait();
  pool.join();
}

CORVANE_BENCH_QUEUE(async, "asio strand");
CORVANE_BENCH_SYNC(sync, "asio strand");

}  // namespace
