// An application that only keeps the master timer going until its standard input ends.
#include <cstdio>
#include <thread>

#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"

int main() {
  corvane::MasterTimer::instance()->start();
  std::thread([] {
    while (std::getchar() != EOF) {
    }
    corvane::MainLoop::quit();
  }).detach();
  corvane::MainLoop::run();
  return 0;
}
