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
      // As many lines as a log takes before it rotates; under a sanitizer the exit may take a second.
      for (int line = 0; line < 300; ++line, std::this_thread::sleep_for(std::chrono::milliseconds(1)))
        corvane::Logger::instance()->log("from a thread that nobody ends");
    }).detach();
  std::atexit([] { corvane::Logger::instance()->log("from an exit handler"); });
  corvane::Logger::instance()->log("from main");
  std::exit(0);
}
