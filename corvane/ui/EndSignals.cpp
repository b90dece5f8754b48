#include "corvane/ui/EndSignals.h"

#include <errno.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <utility>

#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

constexpr std::array SIGNALS = {SIGTERM, SIGINT, SIGHUP};

std::atomic<int> s_pipe = -1;

void note(int number) {
  const int code = errno;
  const auto byte = static_cast<unsigned char>(number);
  (void)!write(s_pipe, &byte, 1);
  errno = code;
}

// Replaces one action for a signal by another one, if it is in force.
void replace(int number, void (*before)(int), void (*after)(int)) {
  struct sigaction action {};
  if (sigaction(number, nullptr, &action) != 0 || action.sa_handler != before) return;
  action = {};
  action.sa_handler = after;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  sigaction(number, &action, nullptr);
}

}  // namespace

EndSignals::EndSignals(std::function<void()> work) : m_work(std::move(work)) {
  const auto ends = platform().childProcesses().pipe();
  if (!ends) return;  // without descriptors signals end the process as usual
  m_reading = FileDescriptor((*ends)[0]);
  m_writing = FileDescriptor((*ends)[1]);
  s_pipe = m_writing.get();
  m_notifier = std::make_unique<QSocketNotifier>(m_reading.get(), QSocketNotifier::Read);
  QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { end(); });
  for (const int number : SIGNALS) replace(number, SIG_DFL, note);
}

EndSignals::~EndSignals() {
  for (const int number : SIGNALS) replace(number, note, SIG_DFL);
  s_pipe = -1;
}

void EndSignals::end() {
  unsigned char number = 0;
  if (uninterrupted([&] { return read(m_reading.get(), &number, 1); }) != 1) return;
  m_work();
  raise(number);  // whose action is the usual one again
}

}  // namespace corvane
