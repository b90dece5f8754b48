#include "corvane/core/Thread.h"

#include <memory>
#include <utility>

#include "corvane/core/fatal.h"

namespace corvane {

namespace {

using Body = std::function<void()>;

void* enter(void* argument) {
  const std::unique_ptr<Body> body(static_cast<Body*>(argument));
  callOrFatal(*body);
  return nullptr;
}

}  // namespace

std::optional<pthread_t> startDetached(Body body) {
  auto argument = std::make_unique<Body>(std::move(body));
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread{};
  const bool started = pthread_create(&thread, &attributes, enter, argument.get()) == 0;
  pthread_attr_destroy(&attributes);
  if (!started) return std::nullopt;
  argument.release();
  return thread;
}

}  // namespace corvane
