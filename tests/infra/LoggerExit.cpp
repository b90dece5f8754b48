#include <cstdlib>
#include <thread>

#include "corvane/infra/Logger.h"

namespace {

struct LogsWhenDestroyed {
  ~LogsWhenDestroyed() { corvane::Logger::instance()->log("from a static destructor"); }
} s_first;

}  // namespace

int main() {
  for (int i = 0; i < 3; ++i)
    std::thread([] {
      for (;; std::this_thread::sleep_for(std::chrono::milliseconds(1)))
        corvane::Logger::instance()->log("from a thread that nobody ends");
    }).detach();
  std::atexit([] { corvane::Logger::instance()->log("from an exit handler"); });
  corvane::Logger::instance()->log("from main");
  std::exit(0);
}
