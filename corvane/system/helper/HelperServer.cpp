#include "corvane/system/helper/HelperServer.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/core/Log.h"
#include "corvane/core/MainQueue.h"
#include "corvane/core/Text.h"
#include "corvane/core/fatal.h"
#include "corvane/infra/values/PropertyList.h"
#include "corvane/platform/HelperKeys.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

// Refusals of one caller that are reported.
constexpr unsigned MAX_REPORTS = 20;
constexpr char TOO_LATE[] = "the helper is stopping";

// A stranger's text as a part of one line.
std::string printable(std::string text) {
  constexpr std::size_t MAX_BYTES = 200;
  if (text.size() > MAX_BYTES) text.resize(MAX_BYTES);
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
  return repaired(std::move(text));
}

bool onlyRootCanWrite(const std::string& path) {
  for (std::filesystem::path each = path;; each = each.parent_path()) {
    struct stat status {};
    if (lstat(each.c_str(), &status) != 0 || status.st_uid != 0 || S_ISLNK(status.st_mode) ||
        (status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
      return false;
    if (each == each.root_path()) return true;
  }
}

using Callers = std::optional<std::set<std::string, std::less<>>>;

// The programs that the embedded dictionary lists; std::nullopt if any program may call.
Result<Callers> listedCallers(const std::string& label) {
  const auto unusable = [](const std::string& what) { return failure("helper", 0, "the embedded dictionary " + what); };
  const auto info = platform().messageListeners().ownInfo();
  if (!info) return tl::unexpected(info.error());
  if (!*info) return std::nullopt;
  const auto dictionary = readPropertyList(**info);
  if (!dictionary) return unusable("cannot be read: " + dictionary.error().description);
  const Value* identifier = dictionary->find("CFBundleIdentifier");
  if (!identifier || !identifier->asString() || *identifier->asString() != label)
    return unusable("is not that of " + label);
  const Value* list = dictionary->find(helper_names::CALLERS_KEY);
  if (!list) return std::nullopt;
  const Value::Array* paths = list->asArray();
  if (!paths) return unusable("lists no callers");
  Callers callers(std::in_place);
  for (const Value& path : *paths) {
    if (!path.asString() || !path.asString()->starts_with('/')) return unusable("lists a caller that is not a path");
    callers->insert(*path.asString());
  }
  return callers;
}

}  // namespace

class HelperServer::Service : public std::enable_shared_from_this<Service> {
 public:
  Service(std::string label, double idleSeconds) : m_label(std::move(label)), m_idleSeconds(idleSeconds) {}

  void add(std::string key, std::string right, Handler handler, Ask ask) {
    if (key.empty()) fatal("A helper's request needs a key");
    if (!m_entries.try_emplace(std::move(key), Entry{std::move(right), std::move(handler), ask}).second)
      fatal("A helper handles each key once");
  }

  int run() {
    if (!IsMainQueue()) fatal("A helper runs on the main queue");
    auto callers = listedCallers(m_label);
    if (!callers) return fail(callers.error());
    m_callers = std::move(*callers);
    static std::once_flag signals;
    std::call_once(signals, MainLoop::quitOnSignals);
    auto listener = platform().messageListeners().listen(m_label, events());
    if (!listener) return fail(listener.error());
    m_listener = std::move(*listener);
    restIfIdle();
    MainLoop::run();
    m_idle.cancel();
    refuseOpen();
    m_listener.reset();
    m_clients.clear();
    m_stopped = m_closing = m_closed = false;
    return std::exchange(m_status, 0);
  }

 private:
  struct Entry {
    std::string right;
    Handler handler;  // empty: the stop message
    Ask ask;
  };
  using Entries = std::map<std::string, Entry, std::less<>>;

  struct Client {
    std::set<std::string, std::less<>> granted;  // rights, until it leaves
    unsigned reports = 0;
  };

  // Work for the main queue that is dropped once the helper has ended.
  template <class Work>
  void later(Work work) {
    main_post([weak = weak_from_this(), work = std::move(work)]() mutable {
      if (const auto self = weak.lock(); self && self->m_listener) work(*self);
    });
  }

  MessageListeners::Events events() {
    return {.request =
                [this](MessageRequest request) {
                  later([request = std::move(request)](Service& self) mutable { self.take(std::move(request)); });
                },
            .callerLeft = [this](const std::string& name) { later([name](Service& self) { self.forget(name); }); },
            .lost =
                [this](const Error& error) {
                  later([error](Service& self) {
                    self.m_status = self.fail(error);
                    MainLoop::quit();
                  });
                }};
  }

  void take(MessageRequest request) {
    if (request.caller.hasLeft) return takeLast(request);
    m_clients.try_emplace(request.caller.name);
    m_idle.cancel();
    if (m_stopped) return refuse(request, "", STOPPING, TOO_LATE);

    std::vector<Entries::const_iterator> known;
    for (const auto& argument : *request.message.asDictionary())
      if (const auto entry = m_entries.find(argument.first); entry != m_entries.end()) known.push_back(entry);
    if (known.size() != 1)
      return refuse(request, "", UNKNOWN_REQUEST, known.empty() ? "no known request" : "more than one request");
    const auto& [key, entry] = *known.front();
    if (!entry.handler && !isStop(request.message, key))
      return refuse(request, key, UNKNOWN_REQUEST, "the stop message is one key with an empty text");
    if (!mayCall(request.caller)) return refuse(request, key, NOT_A_CALLER, "this program may not call the helper");
    if (entry.right.empty() || isGranted(request.caller, entry)) return perform(request, key, entry);
    const std::uint64_t number = ++m_numbers;
    const auto& open = m_open.try_emplace(number, std::move(request)).first->second;
    // The answer comes from any thread.
    platform().messageListeners().authorise(
        open.caller, entry.right, open.mayAsk,
        [weak = weak_from_this(), number, known = known.front()](const Result<void>& granted) {
          const auto self = weak.lock();
          if (self)
            self->later([=](Service& service) { service.decide(number, known->first, known->second, granted); });
        });
  }

  bool isGranted(const MessageCaller& caller, const Entry& entry) const {
    return entry.ask == Ask::ONCE_PER_CONNECTION && caller.pid != 0 &&
           m_clients.find(caller.name)->second.granted.contains(entry.right);
  }

  static bool isStop(const Message& message, const std::string& key) {
    return message == Message(Message::Dictionary{{key, ""}});
  }

  // The stop message may be the last that a program does. No right can be asked for then.
  void takeLast(const MessageRequest& request) {
    if (m_stopped || !mayCall(request.caller)) return;
    for (const auto& [key, entry] : m_entries)
      if (!entry.handler && entry.right.empty() && isStop(request.message, key)) return stop();
  }

  bool mayCall(const MessageCaller& caller) const {
    return !m_callers || (m_callers->contains(caller.executable) && onlyRootCanWrite(caller.executable));
  }

  void decide(std::uint64_t number, const std::string& key, const Entry& entry, const Result<void>& granted) {
    const auto open = m_open.extract(number);
    if (!open) return;  // its caller has left, or the helper is stopping
    const MessageRequest& request = open.mapped();
    if (!granted) {
      refuse(request, key, NOT_AUTHORISED, granted.error().description);
    } else {
      if (entry.ask == Ask::ONCE_PER_CONNECTION) m_clients[request.caller.name].granted.insert(entry.right);
      perform(request, key, entry);
    }
    restIfIdle();
  }

  void perform(const MessageRequest& request, const std::string& key, const Entry& entry) {
    if (!entry.handler) {
      stop();  // first: what is sent after the answer reaches a new helper
      return request.reply(Message());
    }
    std::string thrown = "something that is no exception";
    try {
      return request.reply(entry.handler(request.message, request.caller));
    } catch (const std::exception& exception) {
      thrown = exception.what();
    } catch (...) {
    }
    report("the handler of " + key + " threw: " + printable(thrown));
    request.reply(MessageError{MessageError::Kind::OTHER, FAILED, "The helper failed"});
  }

  void refuse(const MessageRequest& request, const std::string& key, const char* name, const std::string& why) {
    const MessageCaller& caller = request.caller;
    if (const unsigned reports = ++m_clients[caller.name].reports; reports <= MAX_REPORTS)
      report("refused " + (key.empty() ? "a request" : key) + " of " +
             (caller.executable.empty() ? "an unknown program" : printable(caller.executable)) + " (user " +
             std::to_string(caller.uid) + ", process " + std::to_string(caller.pid) + ", " + caller.name +
             "): " + printable(why) + (reports == MAX_REPORTS ? "; no more of this caller is reported" : ""));
    request.reply(MessageError{MessageError::Kind::OTHER, name, "Refused: " + why});
  }

  void forget(const std::string& name) {
    m_clients.erase(name);
    std::erase_if(m_open, [&name](const auto& each) { return each.second.caller.name == name; });
    restIfIdle();
  }

  void restIfIdle() {
    m_idle.cancel();
    if (!m_open.empty()) return;
    if (m_closed) return MainLoop::quit();
    if (!m_clients.empty()) return;
    m_idle = main_after(m_idleSeconds, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->close();
    });
  }

  void stop() {
    m_stopped = true;
    refuseOpen();
    close();
  }

  // Gives the label up, and ends once what came before that is answered.
  void close() {
    if (m_closing) return;
    m_closing = true;
    m_listener->close();
    later([](Service& self) {
      self.m_closed = true;
      self.restIfIdle();
    });
  }

  void refuseOpen() {
    for (const auto& [number, request] : std::exchange(m_open, {})) refuse(request, "", STOPPING, TOO_LATE);
  }

  int fail(const Error& error) const {
    report(error.description);
    return 1;
  }

  void report(const std::string& line) const {
    const WithoutSigpipe guard;  // the journal may be restarting
    systemLog(m_label + ": " + line);
  }

  const std::string m_label;
  const double m_idleSeconds;
  Entries m_entries;
  Callers m_callers;
  std::unique_ptr<MessageListener> m_listener;
  std::map<std::string, Client, std::less<>> m_clients;
  std::map<std::uint64_t, MessageRequest> m_open;  // by number: those that wait for a right
  std::uint64_t m_numbers = 0;
  Delayed m_idle;
  bool m_stopped = false;
  bool m_closing = false;
  bool m_closed = false;  // and what came before has arrived
  int m_status = 0;
};

HelperServer::HelperServer(std::string label, double idleSeconds)
    : m_service(std::make_shared<Service>(std::move(label), idleSeconds)) {}

HelperServer::~HelperServer() = default;

void HelperServer::handle(std::string key, std::string right, Handler handler, Ask ask) {
  if (!handler) fatal("A helper's request needs a handler");
  m_service->add(std::move(key), std::move(right), std::move(handler), ask);
}

void HelperServer::stopOn(std::string key, std::string right) {
  m_service->add(std::move(key), std::move(right), {}, Ask::EACH_REQUEST);
}

int HelperServer::run() {
  return m_service->run();
}

}  // namespace corvane
