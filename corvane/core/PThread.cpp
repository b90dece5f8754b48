#include "corvane/core/PThread.h"

#include "corvane/core/fatal.h"

namespace corvane {

namespace {

void* enter(void* argument) {
  std::unique_ptr<std::shared_ptr<PThread::threadContext>> reference(
      static_cast<std::shared_ptr<PThread::threadContext>*>(argument));
  PThread::threadContext& shared = **reference;
  MutexLock lock(shared.mutex);
  shared.state = PThread::threadContext::state::running;
  const PThread::Action action = shared.action;
  std::any context = shared.context;
  lock.unlock();
  shared.mutex.broadcast();
  if (action) callOrFatal([&] { action(std::move(context)); });
  return nullptr;
}

}  // namespace

PThread::PThread() : m_context(std::make_shared<threadContext>()) {}

void PThread::start(std::any context, Action action) {
  threadContext& shared = *m_context;
  auto reference = std::make_unique<std::shared_ptr<threadContext>>(m_context);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  {
    MutexLock lock(shared.mutex);
    shared.context = std::move(context);
    shared.action = std::move(action);
    pthread_t thread{};
    // Not examined: without a thread, the wait below is the documented outcome.
    if (pthread_create(&thread, &attributes, enter, reference.get()) == 0) {
      reference.release();
      m_thread = thread;
    }
    while (shared.state != threadContext::state::running) shared.mutex.wait(COND_WAIT_FOREVER);
  }
  pthread_attr_destroy(&attributes);
}

void PThread::stop() {
  m_thread.reset();
  m_context = std::make_shared<threadContext>();
}

}  // namespace corvane
