#include "corvane/platform/MessageConnections.h"

#include <errno.h>
#include <pthread.h>
#include <time.h>

#include <atomic>
#include <deque>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "corvane/core/Mutex.h"
#include "corvane/core/Thread.h"
#include "corvane/linux/bus/Bus.h"
#include "corvane/linux/bus/MessageCodec.h"
#include "corvane/linux/helper/HelperNames.h"

namespace corvane {

namespace {

using Kind = MessageError::Kind;

constexpr std::string_view BUS = "org.freedesktop.DBus";
constexpr const char* BUS_OBJECT = "/org/freedesktop/DBus";

// A bus refuses requests of a connection for which 128 replies are missing.
constexpr std::size_t PLACES = 120;

using MessagePtr = std::shared_ptr<GDBusMessage>;

MessagePtr own(GDBusMessage* message) {
  return {message, [](GDBusMessage* owned) { g_object_unref(owned); }};
}

std::string_view orEmpty(const char* text) {
  return text ? text : "";
}

MessagePtr busCall(const char* method, GVariant* arguments) {
  const MessagePtr message = own(g_dbus_message_new_method_call(BUS.data(), BUS_OBJECT, BUS.data(), method));
  g_dbus_message_set_body(message.get(), arguments);
  return message;
}

// To whom is decided when it is sent.
MessagePtr requestOf(const EncodedMessage& encoded) {
  const MessagePtr message =
      own(g_dbus_message_new_method_call(nullptr, helper_names::OBJECT, helper_names::INTERFACE, helper_names::METHOD));
  g_dbus_message_set_flags(message.get(),
                           static_cast<GDBusMessageFlags>(G_DBUS_MESSAGE_FLAGS_ALLOW_INTERACTIVE_AUTHORIZATION |
                                                          G_DBUS_MESSAGE_FLAGS_NO_AUTO_START));
  g_dbus_message_set_body(message.get(), g_variant_new("(@a{sv})", encoded.dictionary.get()));
  g_dbus_message_set_unix_fd_list(message.get(), encoded.descriptors.get());
  return message;
}

// What the bus itself says about a helper that does not answer.
Kind kindOf(std::string_view busError) {
  if (busError == "org.freedesktop.DBus.Error.NoReply" || busError == "org.freedesktop.DBus.Error.NameHasNoOwner")
    return Kind::INTERRUPTED;
  if (busError == "org.freedesktop.DBus.Error.ServiceUnknown" ||
      busError == "org.freedesktop.DBus.Error.AccessDenied" ||
      busError.starts_with("org.freedesktop.DBus.Error.Spawn."))
    return Kind::INVALID;
  return Kind::OTHER;
}

MessageError errorOf(GDBusMessage* message, bool fromBus) {
  const std::string_view name = orEmpty(g_dbus_message_get_error_name(message));
  return {fromBus ? kindOf(name) : Kind::OTHER, std::string(name),
          std::string(orEmpty(g_dbus_message_get_arg0(message)))};
}

MessageError closedError() {
  return {Kind::INVALID, {}, "The connection has ended"};
}

// The reply of a helper; decoded where it is handled, because it may be large.
Message replyOf(GDBusMessage* message) {
  GVariant* const body = g_dbus_message_get_body(message);
  const glib::Ptr<GVariant> dictionary(body && g_variant_n_children(body) == 1 ? g_variant_get_child_value(body, 0)
                                                                               : nullptr);
  auto reply = decode(dictionary.get(), g_dbus_message_get_unix_fd_list(message));
  return reply ? std::move(*reply) : Message(MessageError{Kind::OTHER, {}, std::move(reply.error().description)});
}

// Replies and changes of the name's owner are handled in a filter, on the thread that GIO reads with: no other thread
// has to wake up between the bus and the reply queue. Nothing there waits; hence the steps below, each of which the
// answer of the one before begins. A thread of the connection's own notices the end of the bus.
class HelperConnection : public MessageConnection {
 public:
  HelperConnection(std::string label, SerialQueue& events, SerialQueue& replies,
                   std::function<void(ConnectionEvent)> event)
      : m_label(std::move(label)), m_events(events), m_replies(replies), m_event(std::move(event)) {}

  ~HelperConnection() override { cancel(); }

  Result<void> open() CORVANE_EXCLUDES(m_mutex);
  void send(const Message& request, Reply reply) override CORVANE_EXCLUDES(m_mutex);
  std::int32_t peerPid() override CORVANE_EXCLUDES(m_mutex);
  void cancel() override CORVANE_EXCLUDES(m_mutex);

 private:
  enum class State : std::uint8_t {
    IDLE,       // nobody is known to own the name
    RESOLVING,  // finding out who does, perhaps after starting it
    READY,      // m_owner is root's
  };

  // With the answer, or why there is none.
  using Done = std::function<void(const tl::expected<MessagePtr, MessageError>&)>;

  struct Pending {
    std::string callee;
    Done done;
  };

  struct Waiting {
    MessagePtr message;
    Reply reply;
  };

  // --- On the connection's own thread.
  bool startWatch();
  void watch();

  // --- On GIO's thread.
  static GDBusMessage* filter(GDBusConnection*, GDBusMessage* message, gboolean incoming, gpointer self);
  bool takeAnswer(GDBusMessage* message, std::string_view sender) CORVANE_EXCLUDES(m_mutex);
  void takeSignal(GDBusMessage* message, std::string_view sender) CORVANE_EXCLUDES(m_mutex);

  // --- Any thread.
  void call(const MessagePtr& message, Done done) CORVANE_REQUIRES(m_mutex);
  void resolve(bool start) CORVANE_REQUIRES(m_mutex);
  void askOwner() CORVANE_REQUIRES(m_mutex);
  void askCredentials() CORVANE_REQUIRES(m_mutex);
  void checkCredentials(GDBusMessage* answer) CORVANE_REQUIRES(m_mutex);
  void unresolved(const MessageError& error) CORVANE_REQUIRES(m_mutex);
  void ownerLost() CORVANE_REQUIRES(m_mutex);
  void sendWaiting() CORVANE_REQUIRES(m_mutex);
  void refuseWaiting(const MessageError& error) CORVANE_REQUIRES(m_mutex);
  void end(const MessageError& error) CORVANE_REQUIRES(m_mutex);
  void post(SerialQueue& queue, std::function<void()> work);
  void answer(Reply reply, const MessageError& error);
  void emit(ConnectionEvent event);
  void emitMessage();

  const std::string m_label;
  SerialQueue& m_events;
  SerialQueue& m_replies;
  const std::function<void(ConnectionEvent)> m_event;
  // Cleared by cancel(): events that are still queued then are dropped.
  const std::shared_ptr<std::atomic<bool>> m_hears = std::make_shared<std::atomic<bool>>(true);
  // A message that has not been told yet stands for those that follow: a flood must not fill the queue.
  const std::shared_ptr<std::atomic<bool>> m_isMessageQueued = std::make_shared<std::atomic<bool>>(false);

  glib::Ptr<GMainContext> m_context;
  std::unique_ptr<Bus> m_bus;
  guint m_filter = 0;
  std::atomic<bool> m_isFilterFreed = false;
  std::atomic<bool> m_isMade = false;  // shows the thread sanitizer an order that GLib keeps anyway
  bool m_isWatchOver = false;          // of the connection's own thread

  Mutex m_mutex;
  bool m_isWatching CORVANE_GUARDED_BY(m_mutex) = false;
  bool m_isCancelled CORVANE_GUARDED_BY(m_mutex) = false;
  bool m_hasEnded CORVANE_GUARDED_BY(m_mutex) = false;
  MessageError m_ending CORVANE_GUARDED_BY(m_mutex);
  State m_state CORVANE_GUARDED_BY(m_mutex) = State::IDLE;
  std::string m_owner CORVANE_GUARDED_BY(m_mutex);  // its unique name
  std::int32_t m_pid CORVANE_GUARDED_BY(m_mutex) = 0;
  std::deque<Waiting> m_waiting CORVANE_GUARDED_BY(m_mutex);
  std::unordered_map<guint32, Pending> m_pending CORVANE_GUARDED_BY(m_mutex);  // by the serial of the call
};

Result<void> HelperConnection::open() {
  const Deadline deadline;
  if (!hasDescriptors()) return systemFailure(EMFILE);
  m_context.reset(g_main_context_new());
  g_main_context_push_thread_default(m_context.get());  // where the end of the bus will be told
  auto bus = Bus::connect(G_BUS_TYPE_SYSTEM, deadline);
  g_main_context_pop_thread_default(m_context.get());
  if (!bus) return tl::unexpected(bus.error());
  m_bus = std::move(*bus);
  if (!startWatch()) return failure("posix", EAGAIN, "The system refuses a thread");
  const std::string rule =
      "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" + m_label + "'";
  const auto matched = m_bus->call({std::string(BUS), BUS_OBJECT, std::string(BUS), "AddMatch"},
                                   g_variant_new("(s)", rule.c_str()), deadline);
  if (!matched) return tl::unexpected(matched.error());
  MutexLock lock(m_mutex);
  resolve(false);
  while (m_state == State::RESOLVING && !m_hasEnded && !deadline.isOver())
    m_mutex.wait(std::int64_t{deadline.msec()} * 1000);
  if (m_hasEnded) return failure(m_ending.name, 0, m_ending.description);
  if (m_state == State::RESOLVING) return timedOut("The system bus: ");
  return {};
}

bool HelperConnection::startWatch() {
  m_isMade = true;
  g_main_context_push_thread_default(m_context.get());  // which frees the filter if GIO's thread is the last to use it
  m_filter = g_dbus_connection_add_filter(m_bus->connection(), filter, this, [](gpointer data) {
    auto* self = static_cast<HelperConnection*>(data);
    const glib::Ptr<GMainContext> context(g_main_context_ref(self->m_context.get()));
    self->m_isFilterFreed = true;
    g_main_context_wakeup(context.get());
  });
  g_main_context_pop_thread_default(m_context.get());
  g_signal_connect(m_bus->connection(), "closed",
                   G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, HelperConnection* self) {
                     MutexLock lock(self->m_mutex);
                     self->end(closedError());
                   }),
                   this);
  MutexLock lock(m_mutex);
  m_isWatching = true;
  lock.unlock();
  if (startDetached([this] {
        pthread_setname_np(pthread_self(), "helper's bus");
        watch();
      }))
    return true;
  m_isWatchOver = true;
  watch();  // only takes down what was set up
  return false;
}

void HelperConnection::watch() {
  g_main_context_push_thread_default(m_context.get());
  while (!m_isWatchOver) g_main_context_iteration(m_context.get(), TRUE);
  g_signal_handlers_disconnect_by_data(m_bus->connection(), this);
  // The filter may be at work on GIO's thread until it is freed.
  g_dbus_connection_remove_filter(m_bus->connection(), m_filter);
  m_bus.reset();
  while (!m_isFilterFreed) g_main_context_iteration(m_context.get(), TRUE);
  g_main_context_pop_thread_default(m_context.get());
  MutexLock lock(m_mutex);
  m_isWatching = false;
  m_mutex.broadcast();
}

void HelperConnection::send(const Message& request, Reply reply) {
  const auto encoded = encode(request);
  MutexLock lock(m_mutex);
  if (!encoded) return answer(std::move(reply), {Kind::OTHER, {}, encoded.error().description});
  if (m_hasEnded) return answer(std::move(reply), m_ending);
  m_waiting.push_back({requestOf(*encoded), std::move(reply)});
  if (m_state == State::IDLE) resolve(true);
  sendWaiting();
}

std::int32_t HelperConnection::peerPid() {
  MutexLock lock(m_mutex);
  return m_pid;
}

void HelperConnection::cancel() {
  const Deadline deadline;
  MutexLock lock(m_mutex);
  if (std::exchange(m_isCancelled, true)) return;
  m_hears->store(false);
  while (!m_hasEnded && m_state == State::RESOLVING && !m_waiting.empty() && !deadline.isOver())
    m_mutex.wait(std::int64_t{deadline.msec()} * 1000);
  // What still waits for a place gets by without: nobody waits for the replies any more.
  if (!m_hasEnded && m_state == State::READY)
    for (const Waiting& waiting : m_waiting) {
      GDBusMessage* const message = waiting.message.get();
      g_dbus_message_set_destination(message, m_owner.c_str());
      g_dbus_message_set_flags(message, static_cast<GDBusMessageFlags>(g_dbus_message_get_flags(message) |
                                                                       G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED));
      g_dbus_connection_send_message(m_bus->connection(), message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    }
  const bool flushes = m_state == State::READY;
  lock.unlock();
  // Once the bus has answered this, it has passed on everything that was sent before.
  if (flushes)
    static_cast<void>(
        m_bus->call({std::string(BUS), BUS_OBJECT, "org.freedesktop.DBus.Peer", "Ping"}, nullptr, deadline));
  lock.lock();
  end(closedError());
  if (m_isWatching) glib::invoke(m_context.get(), [this] { m_isWatchOver = true; });
  while (m_isWatching) m_mutex.wait();
}

GDBusMessage* HelperConnection::filter(GDBusConnection*, GDBusMessage* message, gboolean incoming, gpointer self) {
  auto& connection = *static_cast<HelperConnection*>(self);
  if (!incoming || !connection.m_isMade) return message;
  const std::string_view sender = orEmpty(g_dbus_message_get_sender(message));
  const GDBusMessageType type = g_dbus_message_get_message_type(message);
  if (type != G_DBUS_MESSAGE_TYPE_METHOD_RETURN && type != G_DBUS_MESSAGE_TYPE_ERROR) {
    connection.takeSignal(message, sender);
    return message;
  }
  if (!connection.takeAnswer(message, sender)) return message;
  g_object_unref(message);
  return nullptr;
}

bool HelperConnection::takeAnswer(GDBusMessage* message, std::string_view sender) {
  MutexLock lock(m_mutex);
  const auto found = m_pending.find(g_dbus_message_get_reply_serial(message));
  if (found == m_pending.end() || (sender != BUS && sender != found->second.callee)) return false;
  const auto [callee, done] = std::move(found->second);
  m_pending.erase(found);
  if (g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_ERROR) {
    MessageError error = errorOf(message, sender == BUS);
    // A bus lets nobody call a connection any more that has given the helper's name up.
    if (error.kind == Kind::INVALID && callee != BUS && callee != m_owner) error.kind = Kind::INTERRUPTED;
    done(tl::unexpected(error));
  } else {
    done(own(static_cast<GDBusMessage*>(g_object_ref(message))));
  }
  sendWaiting();
  return true;
}

void HelperConnection::takeSignal(GDBusMessage* message, std::string_view sender) {
  MutexLock lock(m_mutex);
  if (m_state == State::READY && sender == m_owner) return emitMessage();
  GVariant* const body = g_dbus_message_get_body(message);
  if (sender != BUS || orEmpty(g_dbus_message_get_member(message)) != "NameOwnerChanged" || !body ||
      !g_variant_is_of_type(body, G_VARIANT_TYPE("(sss)")))
    return;
  const char *name = nullptr, *before = nullptr, *after = nullptr;
  g_variant_get(body, "(&s&s&s)", &name, &before, &after);
  if (m_hasEnded || name != m_label) return;
  if (!m_owner.empty() && before == m_owner) ownerLost();
  if (*after && m_state == State::IDLE) resolve(false);
}

void HelperConnection::call(const MessagePtr& message, Done done) {
  guint32 serial = 0;
  GError* error = nullptr;
  if (g_dbus_connection_send_message(m_bus->connection(), message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, &serial,
                                     &error))
    m_pending.emplace(serial, Pending{g_dbus_message_get_destination(message.get()), std::move(done)});
  else
    done(tl::unexpected(MessageError{g_dbus_connection_is_closed(m_bus->connection()) ? Kind::INVALID : Kind::OTHER,
                                     {},
                                     glib::takeError(error).value().description}));
}

// Finds out who owns the name; `start`: after making sure that somebody does.
void HelperConnection::resolve(bool start) {
  m_state = State::RESOLVING;
  if (!start) return askOwner();
  call(busCall("StartServiceByName", g_variant_new("(su)", m_label.c_str(), 0U)),
       [this](const auto& answer) CORVANE_REQUIRES(m_mutex) {
         if (answer)
           askOwner();
         else
           unresolved(answer.error());
       });
}

void HelperConnection::askOwner() {
  call(busCall("GetNameOwner", g_variant_new("(s)", m_label.c_str())),
       [this](const auto& answer) CORVANE_REQUIRES(m_mutex) {
         if (!answer) return unresolved(answer.error());
         m_owner = orEmpty(g_dbus_message_get_arg0(answer->get()));
         askCredentials();
       });
}

// Of the connection that will get the requests, not of the name, which may change hands in between.
void HelperConnection::askCredentials() {
  call(busCall("GetConnectionCredentials", g_variant_new("(s)", m_owner.c_str())),
       [this, owner = m_owner](const auto& answer) CORVANE_REQUIRES(m_mutex) {
         if (owner != m_owner) return;  // lost meanwhile
         if (answer) return checkCredentials(answer->get());
         m_owner.clear();
         unresolved(answer.error());
       });
}

void HelperConnection::checkCredentials(GDBusMessage* answer) {
  GVariant* const body = g_dbus_message_get_body(answer);
  const glib::Ptr<GVariant> credentials(
      body && g_variant_is_of_type(body, G_VARIANT_TYPE("(a{sv})")) ? g_variant_get_child_value(body, 0) : nullptr);
  guint32 user = 0, pid = 0;
  const bool isKnown = credentials && g_variant_lookup(credentials.get(), "UnixUserID", "u", &user);
  if (!isKnown || user != 0) return end({Kind::INVALID, {}, "The name " + m_label + " is not owned by root"});
  g_variant_lookup(credentials.get(), "ProcessID", "u", &pid);
  m_pid = static_cast<std::int32_t>(pid);
  m_state = State::READY;
  m_mutex.broadcast();
}

void HelperConnection::unresolved(const MessageError& error) {
  if (error.kind == Kind::INVALID) return end(error);
  m_state = State::IDLE;
  m_mutex.broadcast();
  if (m_waiting.empty()) return;  // nobody had asked for it to run
  refuseWaiting(error);
  emit(error.kind == Kind::INTERRUPTED ? ConnectionEvent::INTERRUPTED : ConnectionEvent::ERROR);
}

// The bus itself answers what was on the way.
void HelperConnection::ownerLost() {
  m_state = State::IDLE;
  m_owner.clear();
  m_pid = 0;
  m_mutex.broadcast();
  refuseWaiting({Kind::INTERRUPTED, {}, "The helper ended"});
  emit(ConnectionEvent::INTERRUPTED);
}

void HelperConnection::sendWaiting() {
  while (m_state == State::READY && !m_waiting.empty() && m_pending.size() < PLACES) {
    Waiting next = std::move(m_waiting.front());
    m_waiting.pop_front();
    g_dbus_message_set_destination(next.message.get(), m_owner.c_str());
    call(next.message, [this, reply = std::move(next.reply)](const auto& answered) CORVANE_REQUIRES(m_mutex) mutable {
      if (answered)
        return post(m_replies, [reply = std::move(reply), message = *answered] { reply(replyOf(message.get())); });
      answer(std::move(reply), answered.error());
      if (answered.error().kind == Kind::INVALID) end(answered.error());
    });
  }
}

void HelperConnection::refuseWaiting(const MessageError& error) {
  for (Waiting& waiting : std::exchange(m_waiting, {})) answer(std::move(waiting.reply), error);
}

void HelperConnection::end(const MessageError& error) {
  if (std::exchange(m_hasEnded, true)) return;
  m_ending = error;
  m_state = State::IDLE;
  m_owner.clear();
  m_pid = 0;
  m_mutex.broadcast();
  refuseWaiting(error);
  for (auto& [serial, pending] : std::exchange(m_pending, {})) pending.done(tl::unexpected(error));
  emit(ConnectionEvent::INVALID);
}

// If the queue gets no thread, the connection's own thread tries until it does.
void HelperConnection::post(SerialQueue& queue, std::function<void()> work) {
  if (queue.async(std::move(work))) return;
  glib::invoke(m_context.get(), [&queue, work]() mutable {
    constexpr timespec PAUSE{0, 10'000'000};
    while (!queue.async(std::move(work))) nanosleep(&PAUSE, nullptr);
  });
}

void HelperConnection::answer(Reply reply, const MessageError& error) {
  post(m_replies, [reply = std::move(reply), error] { reply(error); });
}

void HelperConnection::emit(ConnectionEvent event) {
  post(m_events, [hears = m_hears, handler = m_event, event] {
    if (*hears) handler(event);
  });
}

void HelperConnection::emitMessage() {
  if (m_isMessageQueued->exchange(true)) return;
  post(m_events, [queued = m_isMessageQueued, hears = m_hears, handler = m_event] {
    *queued = false;
    if (*hears) handler(ConnectionEvent::MESSAGE);
  });
}

class BusMessageConnections : public MessageConnections {
 public:
  Result<std::unique_ptr<MessageConnection>> connect(const std::string& label, SerialQueue& events,
                                                     SerialQueue& replies,
                                                     std::function<void(ConnectionEvent)> event) override {
    if (label.find('\0') != std::string::npos || !g_dbus_is_name(label.c_str()) || g_dbus_is_unique_name(label.c_str()))
      return failure("message", EINVAL, "The label is not the name of a service");
    auto connection = std::make_unique<HelperConnection>(label, events, replies, std::move(event));
    if (const auto opened = connection->open(); !opened) return tl::unexpected(opened.error());
    return connection;
  }
};

}  // namespace

template <>
std::shared_ptr<MessageConnections> makeService<MessageConnections>() {
  return std::make_shared<BusMessageConnections>();
}

}  // namespace corvane
