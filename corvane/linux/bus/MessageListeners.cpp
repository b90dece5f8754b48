#include "corvane/platform/MessageListeners.h"

#include <fcntl.h>
#include <pthread.h>

#include <atomic>
#include <deque>
#include <utility>

#include "corvane/core/Completion.h"
#include "corvane/core/Files.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/Text.h"
#include "corvane/core/Thread.h"
#include "corvane/linux/bus/MessageCallers.h"
#include "corvane/linux/bus/MessageCodec.h"
#include "corvane/linux/bus/Polkit.h"
#include "corvane/linux/desktop/EmbeddedInfo.h"
#include "corvane/linux/helper/HelperNames.h"

namespace corvane {

namespace {

constexpr char UNUSABLE[] = "org.corvane.Helper1.Error.Unusable";
constexpr char FAILED[] = "org.corvane.Helper1.Error.Failed";
constexpr char LIMITS_EXCEEDED[] = "org.freedesktop.DBus.Error.LimitsExceeded";
constexpr std::size_t MAX_DESCRIPTION = 4096;  // bytes

constexpr guint32 DO_NOT_QUEUE = 4;
constexpr guint32 PRIMARY_OWNER = 1;

std::string interfaceXml() {
  using namespace helper_names;
  return std::string("<node><interface name='") + INTERFACE + "'><method name='" + METHOD +
         "'><arg type='a{sv}' name='request' direction='in'/><arg type='a{sv}' name='reply' direction='out'/>"
         "</method></interface></node>";
}

// What has been sent and is not answered yet, so that no user can fill the memory or keep others out.
struct Load {
  std::size_t requests = 0;
  std::size_t bytes = 0;
  std::size_t descriptors = 0;
};
constexpr Load MAX_LOAD = {256, std::size_t{64} << 20, 64};

class Loads {
 public:
  // False if that is too much for this user.
  bool add(std::uint32_t uid, const Load& more) {
    MutexLock lock(m_mutex);
    Load& load = m_loads[uid];
    const Load sum = {load.requests + more.requests, load.bytes + more.bytes, load.descriptors + more.descriptors};
    const bool fits =
        sum.requests <= MAX_LOAD.requests && sum.bytes <= MAX_LOAD.bytes && sum.descriptors <= MAX_LOAD.descriptors;
    if (fits) load = sum;
    return fits;
  }

  void remove(std::uint32_t uid, const Load& less) {
    MutexLock lock(m_mutex);
    Load& load = m_loads[uid];
    load = {load.requests - less.requests, load.bytes - less.bytes, load.descriptors - less.descriptors};
    if (load.requests == 0) m_loads.erase(uid);
  }

 private:
  Mutex m_mutex;
  std::map<std::uint32_t, Load> m_loads CORVANE_GUARDED_BY(m_mutex);
};

void refuse(GDBusMethodInvocation* invocation, const std::string& name, std::string description) {
  if (description.size() > MAX_DESCRIPTION) description.resize(MAX_DESCRIPTION);
  std::erase(description, '\0');
  const bool usable = name.size() <= 255 && g_dbus_is_interface_name(name.c_str());
  g_dbus_method_invocation_return_dbus_error(invocation, usable ? name.c_str() : FAILED,
                                             repaired(std::move(description)).c_str());
}

// The obligation to answer a request.
class Answer {
 public:
  Answer(GDBusMethodInvocation* invocation, std::shared_ptr<Loads> loads, std::uint32_t uid, const Load& load)
      : m_invocation(invocation), m_loads(std::move(loads)), m_uid(uid), m_load(load) {}
  ~Answer() {
    if (GDBusMethodInvocation* const invocation = m_invocation.exchange(nullptr))
      refuse(invocation, FAILED, "The helper gave no answer");
    m_loads->remove(m_uid, m_load);
  }
  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;

  void operator()(const Message& reply) {
    GDBusMethodInvocation* const invocation = m_invocation.exchange(nullptr);
    if (!invocation) return;
    if (const auto* error = reply.asError()) return refuse(invocation, error->name, error->description);
    const auto encoded = encode(reply);
    if (!encoded) return refuse(invocation, FAILED, "The helper's reply: " + encoded.error().description);
    g_dbus_method_invocation_return_value_with_unix_fd_list(
        invocation, g_variant_new("(@a{sv})", encoded->dictionary.get()), encoded->descriptors.get());
  }

 private:
  std::atomic<GDBusMethodInvocation*> m_invocation;
  const std::shared_ptr<Loads> m_loads;
  const std::uint32_t m_uid;
  const Load m_load;
};

// The thread that owns the label and asks polkit. Everything private runs on it.
class Station : public std::enable_shared_from_this<Station> {
 public:
  using Granted = std::function<void(const Result<void>&)>;

  Station(std::string label, MessageListeners::Events events)
      : m_label(std::move(label)), m_events(std::move(events)), m_context(g_main_context_new()) {}

  // The owner waits in these.
  Result<void> start() {
    if (!startDetached([self = shared_from_this()] { self->run(); }))
      return failure("posix", EAGAIN, "The system refuses a thread");
    Result<void> result;
    auto begin = [&] { result = open(); };
    perform(begin);
    if (!result) end();
    return result;
  }
  void close() {
    auto work = [this] { giveUp(); };
    perform(work);
  }
  void end() {
    auto work = [this] {
      giveUp();
      if (m_bus) leave();
      m_callers.reset();
      m_bus.reset();
      m_ended = true;
    };
    perform(work);
  }

  // Any thread; does not wait.
  void authorise(const MessageCaller& caller, const std::string& right, bool mayAsk, Granted done) {
    PolkitQuestion question{PolkitSubject::connection(caller.name), right, {}, mayAsk};
    glib::invoke(m_context.get(), [self = shared_from_this(), uid = caller.uid, question = std::move(question), done] {
      Line& line = self->m_lines[uid];
      line.waiting.emplace_back(question, done);
      self->askNext(line);
    });
  }

 private:
  void run() {
    pthread_setname_np(pthread_self(), "helper's bus");
    g_main_context_push_thread_default(m_context.get());
    while (!m_ended || m_questions > 0) g_main_context_iteration(m_context.get(), TRUE);
    while (g_main_context_iteration(m_context.get(), FALSE)) {
    }
    g_main_context_pop_thread_default(m_context.get());
  }

  template <class Work>
  void perform(Work& work) {
    submitAndWait([this](std::function<void()> item) { glib::invoke(m_context.get(), std::move(item)); }, work);
  }

  Result<void> open() {
    if (!g_dbus_is_name(m_label.c_str()) || g_dbus_is_unique_name(m_label.c_str()))
      return failure("message", 0, "Not a bus name: " + m_label);
    auto bus = Bus::connect(G_BUS_TYPE_SYSTEM, Deadline());
    if (!bus) return tl::unexpected(bus.error());
    m_bus = std::move(*bus);
    m_callers.emplace(*m_bus, [this](const std::string& name) { m_events.callerLeft(name); });
    static const GDBusInterfaceVTable TABLE{called, nullptr, nullptr, {}};
    static GDBusNodeInfo* const INFO = g_dbus_node_info_new_for_xml(interfaceXml().c_str(), nullptr);
    GError* error = nullptr;
    m_object = g_dbus_connection_register_object(m_bus->connection(), helper_names::OBJECT, INFO->interfaces[0], &TABLE,
                                                 this, nullptr, &error);
    if (!m_object) return glib::takeError(error);
    // Last: what has waited for the name arrives as soon as it has an owner.
    return own();
  }

  Result<void> own() {
    m_bus->watchName(m_label, [this](const std::string& owner) {
      if (owner != g_dbus_connection_get_unique_name(m_bus->connection())) lose("The label has another owner");
    });
    const GCallback closed = G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, gpointer self) {
      static_cast<Station*>(self)->lose("The system bus has ended");
    });
    m_closed = g_signal_connect(m_bus->connection(), "closed", closed, this);
    const auto reply =
        m_bus->call(busMethod("RequestName", "(u)"), g_variant_new("(su)", m_label.c_str(), DO_NOT_QUEUE), Deadline());
    if (!reply) return tl::unexpected(reply.error());
    guint32 answer = 0;
    g_variant_get(reply->values.get(), "(u)", &answer);
    if (answer != PRIMARY_OWNER) return failure("message", EEXIST, m_label + " has another owner");
    m_owned = true;
    return {};
  }

  void lose(const char* why) {
    if (std::exchange(m_owned, false)) m_events.lost(Error{"message", 0, why});
  }

  // The reply to this call follows everything that was sent to the name.
  void giveUp() {
    if (!std::exchange(m_owned, false)) return;
    (void)m_bus->call(busMethod("ReleaseName", "(u)"), g_variant_new("(s)", m_label.c_str()), Deadline());
    while (g_main_context_iteration(m_context.get(), FALSE)) {
    }
  }

  void leave() {
    if (m_object) g_dbus_connection_unregister_object(m_bus->connection(), m_object);
    if (m_closed) g_signal_handler_disconnect(m_bus->connection(), m_closed);
    glib::Waiter wait{Deadline()};
    wait([this](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
      g_dbus_connection_flush(m_bus->connection(), cancellable, done, data);
    });
  }

  static void called(GDBusConnection*, const char* sender, const char*, const char*, const char*, GVariant*,
                     GDBusMethodInvocation* invocation, gpointer self) {
    static_cast<Station*>(self)->take(sender, invocation);
  }

  // GDBus has checked method and signature.
  void take(const char* sender, GDBusMethodInvocation* invocation) {
    GDBusMessage* const message = g_dbus_method_invocation_get_message(invocation);
    GVariant* const parameters = g_dbus_method_invocation_get_parameters(invocation);
    MessageCaller caller = m_callers->identify(sender);
    GUnixFDList* const descriptors = g_dbus_message_get_unix_fd_list(message);
    const Load load = {1, g_variant_get_size(parameters),
                       descriptors ? static_cast<std::size_t>(g_unix_fd_list_get_length(descriptors)) : 0};
    if (!m_loads->add(caller.uid, load))
      return refuse(invocation, LIMITS_EXCEEDED, "Too much of this user waits for an answer");
    const auto answer = std::make_shared<Answer>(invocation, m_loads, caller.uid, load);
    const glib::Ptr<GVariant> dictionary(g_variant_get_child_value(parameters, 0));
    auto request = decode(dictionary.get(), descriptors);
    if (!request) return (*answer)(MessageError{MessageError::Kind::OTHER, UNUSABLE, request.error().description});
    const bool mayAsk = (g_dbus_message_get_flags(message) & G_DBUS_MESSAGE_FLAGS_ALLOW_INTERACTIVE_AUTHORIZATION) != 0;
    m_events.request(
        {std::move(*request), std::move(caller), mayAsk, [answer](const Message& reply) { (*answer)(reply); }});
  }

  // The bus limits the calls without an answer that a connection may have, and nobody knows how long a person takes.
  struct Line {
    static constexpr int MAX_ASKED = 16;
    int asked = 0;
    std::deque<std::pair<PolkitQuestion, Granted>> waiting;
  };

  void askNext(Line& line) {
    if (line.asked == Line::MAX_ASKED || line.waiting.empty()) return;
    const auto [question, done] = std::move(line.waiting.front());
    line.waiting.pop_front();
    ++line.asked;
    check(question, [this, &line, done = done](const Result<void>& granted) {
      --line.asked;
      done(granted);
      askNext(line);
    });
  }

  // A right that polkit does not know is asked for as the generic one.
  void check(const PolkitQuestion& question, Granted done) {
    ask(question, [this, question, done = std::move(done)](const Result<void>& granted) {
      if (granted || !granted.error().domain.starts_with("org.freedesktop.PolicyKit1.Error.") || !m_bus)
        return done(granted);
      ++m_questions;
      Polkit::isDeclaredLater(*m_bus, question.action, [this, question, done, granted](const Result<bool>& declared) {
        --m_questions;
        if (!declared || *declared) return done(granted);
        ask(PolkitQuestion::generic(question.subject, question.action, "", question.mayAsk), done);
      });
    });
  }

  void ask(const PolkitQuestion& question, Granted done) {
    if (!m_bus) return done(failure("message", 0, "The helper does not listen any more"));
    ++m_questions;
    Polkit::checkLater(*m_bus, question, [this, done = std::move(done)](const Result<void>& granted) {
      --m_questions;
      done(granted);
    });
  }

  const std::string m_label;
  const MessageListeners::Events m_events;
  const glib::Ptr<GMainContext> m_context;
  const std::shared_ptr<Loads> m_loads = std::make_shared<Loads>();
  std::unique_ptr<Bus> m_bus;
  std::optional<MessageCallers> m_callers;
  guint m_object = 0;                     // its registration
  gulong m_closed = 0;                    // the signal's handler
  std::map<std::uint32_t, Line> m_lines;  // by user
  int m_questions = 0;                    // without an answer; they end with the connection
  bool m_owned = false;
  bool m_ended = false;
};

class BusListener : public MessageListener {
 public:
  explicit BusListener(std::shared_ptr<Station> station) : m_station(std::move(station)) {}
  ~BusListener() override { m_station->end(); }
  void close() override { m_station->close(); }

 private:
  const std::shared_ptr<Station> m_station;
};

class BusListeners : public MessageListeners {
 public:
  Result<std::unique_ptr<MessageListener>> listen(const std::string& label, Events events) override {
    auto station = std::make_shared<Station>(label, std::move(events));
    if (const auto started = station->start(); !started) return tl::unexpected(started.error());
    MutexLock lock(m_mutex);
    m_station = station;
    return std::make_unique<BusListener>(std::move(station));
  }

  void authorise(const MessageCaller& caller, const std::string& right, bool mayAsk,
                 std::function<void(const Result<void>&)> done) override {
    MutexLock lock(m_mutex);
    const auto station = m_station.lock();
    lock.unlock();
    if (!station) return done(failure("message", 0, "No helper listens"));
    // polkit would take whoever has the process's id now for it.
    if (caller.pid == 0) return done(failure("message", 0, "The process that connected has ended"));
    station->authorise(caller, right, mayAsk, std::move(done));
  }

  Result<std::optional<std::string>> ownInfo() override {
    const auto file = openFile("/proc/self/exe", O_RDONLY);
    if (!file) return tl::unexpected(file.error());
    return embeddedInfo(file->get());
  }

 private:
  Mutex m_mutex;
  std::weak_ptr<Station> m_station CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace

template <>
std::shared_ptr<MessageListeners> makeService<MessageListeners>() {
  return std::make_shared<BusListeners>();
}

}  // namespace corvane
