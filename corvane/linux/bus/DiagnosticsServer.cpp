#include "corvane/linux/bus/DiagnosticsServer.h"

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <list>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/core/PerProcess.h"
#include "corvane/core/Thread.h"
#include "corvane/linux/Deadline.h"
#include "corvane/linux/bus/DiagnosticsCalls.h"
#include "corvane/linux/bus/DiagnosticsSockets.h"
#include "corvane/linux/bus/DiagnosticsStream.h"

namespace corvane::diagnostics {

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

constexpr std::size_t MAX_VIEWERS = 16;
constexpr std::size_t MAX_HANDSHAKE = 4096;          // bytes
constexpr std::chrono::milliseconds PATIENCE = 5s;   // for authentication, and until an answer is taken
constexpr std::chrono::milliseconds NO_ACCEPT = 1s;  // after the system had no descriptor for a viewer
constexpr int BACKLOG = 64;                          // connections that wait to be accepted
constexpr int REST = 4;                              // times the work
constexpr nanoseconds SHORTEST_REST = 2ms;
constexpr nanoseconds LONGEST_REST = 1s;

nanoseconds threadTime() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

std::string newGuid() {
  return glib::Ptr<gchar>(g_dbus_generate_guid()).get();
}

// A connection.
class Viewer {
 public:
  explicit Viewer(OwnSocket socket) : m_socket(std::move(socket)), m_stream(m_socket.get(), MAX_CALL) {}

  pollfd wanted() const { return {m_socket.get(), static_cast<short>(m_stream.hasOutput() ? POLLOUT : POLLIN), 0}; }
  // There is work that the socket does not tell about.
  bool isReady() const { return m_isAuthenticated && !m_stream.hasOutput() && m_stream.hasMessage(); }
  // The moment at which it is dropped unless it moves on.
  std::optional<Deadline> limit() const {
    return m_isAuthenticated && !m_stream.hasOutput() ? std::nullopt : std::optional(m_limit);
  }

  // Sends, receives, and answers at most one call. False if the connection has ended or must.
  bool work(Calls& calls, bool canRead) {
    if (!m_stream.flush()) return false;
    if (m_stream.hasOutput()) return true;
    if (canRead && !m_stream.receive()) return false;
    const bool isFit = (m_isAuthenticated || authenticate()) && (!m_isAuthenticated || answer(calls));
    return m_stream.flush() && isFit;
  }

 private:
  // The server's side of the authentication of D-Bus, with its one mechanism EXTERNAL. The kernel has already told who
  // the peer is; here it may only say the same.
  // https://dbus.freedesktop.org/doc/dbus-specification.html#auth-protocol
  bool authenticate() {
    if (!m_hasBegun) {
      const auto first = m_stream.takeByte();
      if (first.value_or(0) != 0) return false;
      m_hasBegun = first.has_value();
    }
    while (const auto line = m_stream.takeLine()) {
      if (*line == "BEGIN") return m_isAuthenticated = m_isAccepted;
      m_stream.send(replyTo(*line) + "\r\n");
    }
    return m_stream.received() <= MAX_HANDSHAKE;
  }

  std::string replyTo(const std::string& line) {
    const std::string me = userInHexadecimal();
    if (line == "AUTH EXTERNAL") return "DATA";
    m_isAccepted = m_isAccepted || line == "AUTH EXTERNAL " + me || line == "DATA " + me || line == "DATA";
    if (line.starts_with("AUTH") || line.starts_with("DATA"))
      return m_isAccepted ? "OK " + newGuid() : "REJECTED EXTERNAL";
    return line == "CANCEL" || line.starts_with("ERROR") ? "REJECTED EXTERNAL" : "ERROR";
  }

  bool answer(Calls& calls) {
    const auto message = m_stream.takeMessage();
    if (!message) return false;
    if (!*message || g_dbus_message_get_message_type(message->get()) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) return true;
    auto reply = calls.answer(message->get(), m_watch);
    if (g_dbus_message_get_flags(message->get()) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) return true;
    if (const auto sent = m_stream.send(reply.get(), MAX_REPLY); !sent) {
      reply = Calls::refusal(message->get(), sent.error());
      if (!m_stream.send(reply.get(), MAX_REPLY)) return false;
    }
    m_limit = Deadline(PATIENCE);
    return true;
  }

  const OwnSocket m_socket;
  DiagnosticsStream m_stream;
  bool m_hasBegun = false;
  bool m_isAccepted = false;
  bool m_isAuthenticated = false;
  Deadline m_limit{PATIENCE};
  std::shared_ptr<void> m_watch;
};

class Server {
 public:
  Server(OwnSocket listening, FileDescriptor wake, std::shared_ptr<Inspectable> program)
      : m_listening(std::move(listening)), m_wake(std::move(wake)), m_calls(std::move(program)) {}

  // On the thread.
  void run() {
    pthread_setname_np(pthread_self(), "diagnostics");
    m_worked = threadTime();
    while (!m_isStopped) turn();
    m_viewers.clear();
    m_hasEnded = true;
    m_hasEnded.notify_all();
  }

  // From another one.
  void stop() {
    m_isStopped = true;
    eventfd_write(m_wake.get(), 1);
    m_hasEnded.wait(false);
  }

 private:
  void turn() {
    std::vector<pollfd> sockets = {{m_wake.get(), POLLIN, 0}, {m_listening.get(), POLLIN, 0}};
    if (!m_acceptsAgain.isOver()) sockets[1].fd = -1;
    for (const Viewer& viewer : m_viewers) sockets.push_back(viewer.wanted());
    poll(sockets.data(), sockets.size(), patience());
    if (m_isStopped) return;
    auto socket = sockets.cbegin() + 2;
    for (auto viewer = m_viewers.begin(); viewer != m_viewers.end(); ++socket) {
      const bool isDue = socket->revents || viewer->isReady();
      const bool stays = (!isDue || viewer->work(m_calls, socket->revents & ~POLLOUT)) &&
                         (!viewer->limit() || !viewer->limit()->isOver());
      viewer = stays ? std::next(viewer) : m_viewers.erase(viewer);
    }
    if (sockets[1].revents) accept();
    rest();
  }

  // For how long there is nothing to do unless a socket says so: milliseconds, or -1.
  int patience() const {
    std::optional<int> msec;
    const auto atMost = [&](int limit) { msec = std::min(msec.value_or(limit), limit); };
    if (!m_acceptsAgain.isOver()) atMost(m_acceptsAgain.msec());
    for (const Viewer& viewer : m_viewers) {
      if (viewer.isReady()) return 0;
      if (const auto limit = viewer.limit()) atMost(limit->msec());
    }
    return msec.value_or(-1);
  }

  void accept() {
    OwnSocket socket = OwnSocket::accept(m_listening.get());
    if (socket.get() < 0) {
      if (errno != EAGAIN && errno != ECONNABORTED) m_acceptsAgain = Deadline(NO_ACCEPT);
      return;
    }
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.uid != geteuid()) return;
    if (m_viewers.size() < MAX_VIEWERS) {
      m_viewers.emplace_back(std::move(socket));
    } else {
      const std::string full = std::string(FULL) + "\r\n";
      (void)!send(socket.get(), full.data(), full.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }
  }

  void rest() {
    const nanoseconds rest = std::min(REST * (threadTime() - m_worked), LONGEST_REST);
    if (rest < SHORTEST_REST) return;
    pollfd wake = {m_wake.get(), POLLIN, 0};
    const timespec time = {static_cast<time_t>(rest / 1s), static_cast<long>((rest % 1s).count())};
    ppoll(&wake, 1, &time, nullptr);
    m_worked = threadTime();
  }

  const OwnSocket m_listening;
  const FileDescriptor m_wake;
  Calls m_calls;
  std::list<Viewer> m_viewers;
  Deadline m_acceptsAgain{0ms};
  nanoseconds m_worked{0};  // the thread's time at its last rest
  std::atomic<bool> m_isStopped = false;
  std::atomic<bool> m_hasEnded = false;
};

// What serve() returns.
class Handle {
 public:
  Handle(std::shared_ptr<Server> server, FileDescriptor folder, std::string name)
      : m_server(std::move(server)), m_folder(std::move(folder)), m_name(std::move(name)) {}
  ~Handle() {
    if (m_process != forkCount()) {
      // The sockets are closed, and their numbers may be others' now. Kept, so that it does not look like a leak.
      static auto& kept = *new std::vector<std::shared_ptr<Server>>;
      kept.push_back(std::move(m_server));
      return;
    }
    unlinkat(m_folder.get(), m_name.c_str(), 0);
    m_server->stop();
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

 private:
  std::shared_ptr<Server> m_server;
  const FileDescriptor m_folder;
  const std::string m_name;
  const unsigned m_process = forkCount();
};

// Under the name only once it listens, because a socket that refuses connections is taken for a dead process's.
Result<OwnSocket> listenAt(int folder, const std::string& name) {
  OwnSocket socket = OwnSocket::make();
  if (socket.get() < 0) return systemFailure(errno);
  const std::string temporary = "." + name;
  const sockaddr_un address = addressOf(folder, temporary);
  unlinkat(folder, temporary.c_str(), 0);
  if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(socket.get(), BACKLOG) != 0 || renameat(folder, temporary.c_str(), folder, name.c_str()) != 0) {
    const int code = errno;
    unlinkat(folder, temporary.c_str(), 0);
    return systemFailure(code);
  }
  return socket;
}

}  // namespace

Result<std::shared_ptr<void>> serve(FileDescriptor folder, const std::string& name,
                                    std::shared_ptr<Inspectable> program) {
  FileDescriptor wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (wake.get() < 0) return systemFailure(errno);
  auto listening = listenAt(folder.get(), name);
  if (!listening) return tl::unexpected(listening.error());
  auto server = std::make_shared<Server>(std::move(*listening), std::move(wake), std::move(program));
  if (!startDetached([server] { server->run(); })) {
    unlinkat(folder.get(), name.c_str(), 0);
    return failure("posix", EAGAIN, "The system refuses a thread");
  }
  return std::make_shared<Handle>(std::move(server), std::move(folder), name);
}

}  // namespace corvane::diagnostics
