#include <chrono>
#include <cstdlib>
#include <thread>

#include "corvane/infra/HTTP.h"

// Exits after a number of milliseconds, the first argument, while threads make requests to the URLs that are the
// others, each on a new connection.
int main(int count, char** arguments) {
  for (int i = 2; i < count; ++i)
    std::thread([url = std::string(arguments[i])] {
      std::int64_t status = 0;
      std::string error;
      for (;;) corvane::posturl(url, {}, {{"Connection", "close"}}, -1, status, error);
    }).detach();
  std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(arguments[1])));
}
