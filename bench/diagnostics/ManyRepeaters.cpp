// An application with 10,000 repeaters of a second, spread over it, that others can look into, until its standard input
// ends.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"
#include "corvane/infra/Diagnostics.h"

int main() {
  corvane::MasterTimer::instance()->start();
  std::vector<std::shared_ptr<corvane::Repeater>> all;
  const auto starter = std::make_shared<corvane::Repeater>("starter");
  starter->start(0.001, [&] {
    for (int i = 0; i < 10; ++i) {
      all.push_back(std::make_shared<corvane::Repeater>("repeater " + std::to_string(all.size())));
      all.back()->start(1, [] {});
    }
    if (all.size() == 10'000) starter->stop();
  });
  corvane::main_post([] {
    if (!corvane::Diagnostics::start()) std::exit(1);
  });
  std::thread([] {
    while (std::getchar() != EOF) {
    }
    corvane::MainLoop::quit();
  }).detach();
  corvane::MainLoop::run();
  corvane::Diagnostics::stop();
  return 0;
}
