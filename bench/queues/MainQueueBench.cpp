#include "corvane/core/MainQueue.h"

#include <unistd.h>

#include <array>
#include <stdexcept>

#include "bench/queues/MainQueue.h"

namespace {

void corvaneMainSync(benchmark::State& state) {
  int count = 0;
  bench::roundTrips(
      state, [] { corvane::MainLoop::run(); }, [&] { corvane::main_sync([&] { ++count; }); },
      [] { corvane::MainLoop::quit(); });
}

class Pipe {
 public:
  Pipe() {
    if (pipe(m_ends.data()) != 0) throw std::runtime_error("pipe");
  }
  ~Pipe() {
    for (const int end : m_ends) close(end);
  }
  void put(char byte) {
    if (write(m_ends[1], &byte, 1) != 1) throw std::runtime_error("write");
  }
  char get() {
    char byte = 0;
    if (read(m_ends[0], &byte, 1) != 1) throw std::runtime_error("read");
    return byte;
  }

 private:
  std::array<int, 2> m_ends{};
};

void pipePingPong(benchmark::State& state) {
  Pipe there;
  Pipe back;
  bench::roundTrips(
      state,
      [&] {
        while (there.get() == 'c') back.put('r');
      },
      [&] {
        there.put('c');
        back.get();
      },
      [&] { there.put('q'); });
}

CORVANE_BENCH_MAIN(corvaneMainSync, "Corvane main_sync");
CORVANE_BENCH_MAIN(pipePingPong, "pipe ping-pong");

}  // namespace
