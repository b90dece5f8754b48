#include "corvane/core/MainQueue.h"

#include "corvane/core/fatal.h"
#include "corvane/platform/Platform.h"

namespace corvane {

bool IsMainQueue() {
  return platform().mainQueue().isCurrent();
}

void main_post(std::function<void()> work) {
  platform().mainQueue().post(std::move(work));
}

void main_async(std::function<void()> work) {
  if (IsMainQueue())
    work();
  else
    main_post(std::move(work));
}

Delayed main_after(double seconds, std::function<void()> work) {
  return {seconds, std::move(work), main_post};
}

void MainLoop::run() {
  if (!IsMainQueue()) fatal("MainLoop::run: not on the main queue");
  platform().mainQueue().run();
}

void MainLoop::quit() {
  platform().mainQueue().quit();
}

void MainLoop::quitOnSignals() {
  platform().mainQueue().quitOnSignals();
}

}  // namespace corvane
