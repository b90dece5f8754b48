#include "corvane/core/PThread.h"

#include "corvane/core/Thread.h"

namespace corvane {

PThread::PThread() : m_context(std::make_shared<threadContext>()) {}

void PThread::start(std::any context, Action action) {
  threadContext& shared = *m_context;
  MutexLock lock(shared.mutex);
  shared.context = std::move(context);
  shared.action = std::move(action);
  // Not checked: without a thread, the wait below is the documented behaviour.
  m_thread = startDetached([held = m_context] {
    threadContext& own = *held;
    MutexLock ownLock(own.mutex);
    own.state = threadContext::state::running;
    const Action run = own.action;
    std::any argument = own.context;
    ownLock.unlock();
    own.mutex.broadcast();
    if (run) run(std::move(argument));
  });
  while (shared.state != threadContext::state::running) shared.mutex.wait(COND_WAIT_FOREVER);
}

void PThread::stop() {
  m_thread.reset();
  m_context = std::make_shared<threadContext>();
}

}  // namespace corvane
