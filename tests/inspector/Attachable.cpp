// A program for the Inspector to look into. Arguments: "control" allows it to change something. Each line of standard
// input blocks the main loop for so many milliseconds; the end of the input ends the program.

#include <chrono>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/infra/Diagnostics.h"

namespace {

struct Meter {
  void operator()(std::string_view, const std::any&) const {}
};

void block(std::chrono::milliseconds time) {
  std::this_thread::sleep_for(time);
}

}  // namespace

int main(int count, char** arguments) {
  using namespace corvane;
  using std::chrono::milliseconds;
  MasterTimer::instance()->start();
  const auto ticks = {std::make_shared<Repeater>("tick"), std::make_shared<Repeater>("tick")};
  for (const auto& tick : ticks) tick->start(0.1, [] {});
  const auto listening = Listen("reading", Meter());
  DispatchQueueSerial mail("mail", QoS::UTILITY);
  const auto slow = std::make_shared<Repeater>("slow report");
  slow->start(1, [&mail] {
    for (int i = 0; i < 3; ++i) mail.async([] { block(milliseconds(600)); });
    block(milliseconds(150));
  });
  std::thread([] {
    for (int time = 0; std::cin >> time;) main_post([time] { block(milliseconds(time)); });
    MainLoop::quit();
  }).detach();
  const bool allows = count > 1 && std::string_view(arguments[1]) == "control";
  if (const auto started = Diagnostics::start(allows ? Diagnostics::Control : Diagnostics::LookOnly); !started) {
    std::cerr << started.error().description << "\n";
    return 1;
  }
  std::cout << "ready" << std::endl;
  MainLoop::run();
  std::_Exit(0);
}
