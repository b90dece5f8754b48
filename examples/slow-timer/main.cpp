// A program in which one repeater holds up everything else: look for it with Corvane Inspector.

#include <chrono>
#include <cstdio>
#include <memory>
#include <string_view>
#include <thread>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/core/Repeater.h"
#include "corvane/core/TimerQueue.h"
#include "corvane/infra/Logger.h"

namespace {

void work(std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (std::chrono::steady_clock::now() < end) {
  }
}

}  // namespace

int main(int count, char** arguments) {
  using namespace std::chrono_literals;
  if (count > 1 && std::string_view(arguments[1]) == "--help") {
    std::puts("Usage: slow-timer\nA clock that is late once a second. Ctrl+C ends it.");
    return 0;
  }
  corvane::MasterTimer::instance()->start();

  const auto clock = std::make_shared<corvane::Repeater>("clock");
  clock->start(0.1, [] { work(1ms); });

  const auto thumbnails = std::make_shared<corvane::Repeater>("redraw thumbnails");
  thumbnails->start(1, [] { work(120ms); });

  corvane::DispatchQueueSerial mail("org.example.mail", corvane::QoS::UTILITY);
  const auto poll = std::make_shared<corvane::Repeater>("poll mail");
  poll->start(0.5, [&mail] { mail.async([] { std::this_thread::sleep_for(200ms); }); });

  const auto level = std::make_shared<corvane::TimerQueue>("microphone", 0.05, nullptr, [] {
    corvane::main_async([] { work(1ms); });  // draws the level
  });
  level->start();

  corvane::Logger::instance()->log("The clock ticks ten times a second");
  corvane::MainLoop::quitOnSignals();
  corvane::MainLoop::run();
  for (const auto& repeater : {clock, thumbnails, poll}) repeater->stop();
  level->stop();
  mail.sync([] {});
  corvane::Logger::instance()->close();
}
