#include <chrono>
#include <cstdlib>
#include <thread>

#include "corvane/infra/HTTP.h"

// Exits after as many milliseconds as the first argument says, while threads request the URLs in the other arguments,
// each on a new connection.
int main(int count, char** arguments) {
  for (int i = 2; i < count; ++i)
    std::thread([url = std::string(arguments[i])] {
      std::int64_t status = 0;
      std::string error;
      for (;;) corvane::posturl(url, {}, {{"Connection", "close"}}, -1, status, error);
    }).detach();
  std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(arguments[1])));
}
