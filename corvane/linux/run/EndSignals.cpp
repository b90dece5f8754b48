#include "corvane/platform/EndSignals.h"

#include <errno.h>
#include <fcntl.h>
#include <glib-unix.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/core/fatal.h"
#include "corvane/linux/GLibSupport.h"

namespace corvane {

namespace {

constexpr std::array SIGNALS = {SIGTERM, SIGINT, SIGHUP};

using Work = std::function<void(int)>;

// Of the object that gets the signals.
std::atomic<int> s_pipe = -1;
std::atomic<pid_t> s_process = 0;

void note(int number) {
  const int code = errno;
  const auto byte = static_cast<unsigned char>(number);
  if (getpid() == s_process)
    (void)!write(s_pipe, &byte, 1);
  else
    raise(number);  // in a forked child; the action is the default one again
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

gboolean read(gint pipe, GIOCondition, gpointer work) noexcept {
  unsigned char number = 0;
  if (uninterrupted([&] { return ::read(pipe, &number, 1); }) == 1)
    callOrFatal([&] { (*static_cast<Work*>(work))(number); });
  return G_SOURCE_CONTINUE;
}

}  // namespace

struct EndSignals::Pipe {
  FileDescriptor reading, writing;
  glib::Ptr<GSource> source;
  const pid_t process = getpid();

  static std::vector<const Pipe*>& all() {
    static auto& all = *new std::vector<const Pipe*>;
    return all;
  }

  // The signals go to the newest one.
  static void select() {
    s_process = all().empty() ? 0 : all().back()->process;
    s_pipe = all().empty() ? -1 : all().back()->writing.get();
  }
};

EndSignals::EndSignals(Work work) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) return;
  GSource* const source = g_unix_fd_source_new(ends[0], G_IO_IN);
  g_source_set_callback(source, G_SOURCE_FUNC(read), new Work(std::move(work)),
                        [](gpointer owned) { delete static_cast<Work*>(owned); });
  g_source_attach(source, nullptr);
  m_pipe.reset(new Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1]), glib::Ptr<GSource>(source)});
  Pipe::all().push_back(m_pipe.get());
  Pipe::select();
  for (const int number : SIGNALS) replace(number, SIG_DFL, note);
}

EndSignals::~EndSignals() {
  if (!m_pipe) return;
  std::erase(Pipe::all(), m_pipe.get());
  if (Pipe::all().empty())
    for (const int number : SIGNALS) replace(number, note, SIG_DFL);
  Pipe::select();
  g_source_destroy(m_pipe->source.get());
}

bool EndSignals::exists() {
  return !Pipe::all().empty();
}

}  // namespace corvane
