#include "corvane/linux/bus/DiagnosticsClient.h"

#include <errno.h>
#include <poll.h>

#include <string>
#include <tuple>
#include <utility>

#include "corvane/core/Mutex.h"
#include "corvane/linux/bus/DiagnosticsCalls.h"
#include "corvane/linux/bus/DiagnosticsCodec.h"
#include "corvane/linux/bus/DiagnosticsStream.h"

namespace corvane::diagnostics {

namespace {

tl::unexpected<Error> ended() {
  return failure("posix", ENOTCONN, "The program has ended or closed the connection");
}

// Calls on a connection, one at a time.
class Connection {
 public:
  explicit Connection(FileDescriptor socket) : m_socket(std::move(socket)), m_stream(m_socket.get(), MAX_REPLY) {}

  Result<void> authenticate(const Deadline& deadline) {
    m_stream.send(std::string("\0AUTH EXTERNAL ", 15) + userInHexadecimal() + "\r\n");
    std::optional<std::string> line;
    while (!(line = m_stream.takeLine()))
      if (const auto moved = advance(deadline); !moved) return moved;
    if (*line == FULL) return failure("posix", EUSERS, "Too many others look into the program");
    if (!line->starts_with("OK ")) return failure("posix", EPROTO, "The program refuses the authentication");
    m_stream.send("BEGIN\r\n");
    return {};
  }

  // The arguments of the answer.
  Result<glib::Ptr<GVariant>> call(const char* interface, const char* method, GVariant* arguments,
                                   const Deadline& deadline = Deadline()) {
    const glib::Ptr<GVariant> owner(g_variant_ref_sink(arguments));
    MutexLock lock(m_mutex);
    while (m_isBusy)
      if (deadline.isOver() || m_mutex.wait(std::int64_t{1000} * deadline.msec())) return timedOut("");
    if (m_hasEnded) return ended();
    m_isBusy = true;
    lock.unlock();
    const glib::Ptr<GDBusMessage> call(g_dbus_message_new_method_call(nullptr, OBJECT, interface, method));
    g_dbus_message_set_body(call.get(), arguments);
    auto answer = exchange(call.get(), deadline);
    lock.lock();
    m_isBusy = false;
    m_hasEnded = !answer && answer.error().code != ETIMEDOUT;
    m_mutex.broadcast();
    lock.unlock();
    if (!answer) return tl::unexpected(answer.error());
    if (g_dbus_message_get_message_type(answer->get()) == G_DBUS_MESSAGE_TYPE_ERROR) return errorOf(answer->get());
    GVariant* const body = g_dbus_message_get_body(answer->get());
    return glib::Ptr<GVariant>(body ? g_variant_ref(body) : g_variant_ref_sink(g_variant_new_tuple(nullptr, 0)));
  }

 private:
  // Answers to calls that were given up are skipped.
  Result<glib::Ptr<GDBusMessage>> exchange(GDBusMessage* call, const Deadline& deadline) {
    for (m_stream.flush(); m_stream.hasOutput();)
      if (const auto moved = advance(deadline); !moved) return tl::unexpected(moved.error());
    const auto serial = m_stream.send(call, MAX_CALL);
    if (!serial) return tl::unexpected(serial.error());
    for (;;) {
      auto message = m_stream.takeMessage();
      if (!message) return message;
      if (*message && g_dbus_message_get_reply_serial(message->get()) == *serial) return message;
      if (*message) continue;
      if (const auto moved = advance(deadline); !moved) return tl::unexpected(moved.error());
    }
  }

  // Sends, waits until more can be sent or received, and does.
  Result<void> advance(const Deadline& deadline) {
    const bool isOpen = m_stream.flush();  // if it is not, there may still be something to receive
    pollfd socket = {m_socket.get(), static_cast<short>(m_stream.hasOutput() && isOpen ? POLLIN | POLLOUT : POLLIN), 0};
    if (deadline.isOver() || poll(&socket, 1, deadline.msec()) == 0) return timedOut("");
    if (!m_stream.receive()) return ended();
    m_stream.flush();
    return {};
  }

  const FileDescriptor m_socket;
  DiagnosticsStream m_stream;  // used by whoever has made it busy
  Mutex m_mutex;
  bool m_isBusy CORVANE_GUARDED_BY(m_mutex) = false;
  bool m_hasEnded CORVANE_GUARDED_BY(m_mutex) = false;
};

class AttachedProgram : public Inspectable {
 public:
  explicit AttachedProgram(FileDescriptor socket) : m_connection(std::make_shared<Connection>(std::move(socket))) {}

  Result<void> open(const Deadline& deadline) {
    if (const auto opened = m_connection->authenticate(deadline); !opened) return opened;
    const auto version = m_connection->call("org.freedesktop.DBus.Properties", "Get",
                                            g_variant_new("(ss)", INTERFACE, "Version"), deadline);
    if (!version) return tl::unexpected(version.error());
    const glib::Ptr<GVariant> expected(g_variant_ref_sink(g_variant_new("(v)", g_variant_new_uint32(VERSION))));
    if (!g_variant_equal(version->get(), expected.get()))
      return failure("posix", EPROTO, "The program has another version of the interface");
    return {};
  }

  Result<ProgramIdentity> identity() override { return call<ProgramIdentity>("Identity"); }
  Result<std::vector<RepeaterState>> repeaters() override {
    const Deadline deadline;
    // Twice if names are missing, such as that of a repeater that is older than another one and started after it.
    for (int attempt = 0;; ++attempt) {
      MutexLock lock(m_mutex);
      const std::uint64_t known = m_names.known;
      lock.unlock();
      const auto answer = m_connection->call(INTERFACE, "Repeaters", encode(std::tuple(known)), deadline);
      if (!answer) return tl::unexpected(answer.error());
      lock.lock();
      auto repeaters = decodeRepeaters(answer->get(), known, m_names);
      if (!repeaters) return tl::unexpected(repeaters.error());
      if (*repeaters) return std::move(**repeaters);
      if (attempt == 1) return failure("posix", EPROTO, "The program does not name its repeaters");
    }
  }
  Result<QueueStates> queues() override { return call<QueueStates>("Queues"); }
  Result<std::vector<ListenerState>> listeners() override { return call<std::vector<ListenerState>>("Listeners"); }
  Result<LogState> log(const LogPlace& after, std::size_t limit) override {
    return call<LogState>("Log", std::tuple(after, std::uint64_t{limit}));
  }
  Result<std::vector<SettingState>> settings() override { return call<std::vector<SettingState>>("Settings"); }
  Result<std::shared_ptr<void>> watch() override {
    return call<std::tuple<>>("Watch").map([this](const auto&) { return std::shared_ptr<void>(m_connection); });
  }
  Result<Recording> recording(double seconds) override { return call<Recording>("Recording", std::tuple(seconds)); }
  Result<LongSpans> longSpans(std::uint64_t since, std::int64_t nsec) override {
    return call<LongSpans>("LongSpans", std::tuple(since, nsec));
  }
  Result<void> resetStats() override { return order("ResetStats", std::tuple<>()); }
  Result<void> setTimeConstant(double seconds) override { return order("SetTimeConstant", std::tuple(seconds)); }
  Result<void> setPaused(std::uint64_t id, bool paused) override { return order("SetPaused", std::tuple(id, paused)); }

 private:
  template <class T, class Arguments = std::tuple<>>
  Result<T> call(const char* method, const Arguments& arguments = {}) {
    const auto answer = m_connection->call(INTERFACE, method, encode(arguments));
    if (!answer) return tl::unexpected(answer.error());
    return decode<T>(answer->get());
  }

  template <class Arguments>
  Result<void> order(const char* method, const Arguments& arguments) {
    return call<std::tuple<>>(method, arguments).map([](const auto&) {});
  }

  const std::shared_ptr<Connection> m_connection;
  Mutex m_mutex;
  RepeaterNames m_names CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace

Result<std::shared_ptr<Inspectable>> attach(FileDescriptor socket, const Deadline& deadline) {
  auto program = std::make_shared<AttachedProgram>(std::move(socket));
  if (const auto opened = program->open(deadline); !opened) return tl::unexpected(opened.error());
  return program;
}

}  // namespace corvane::diagnostics
