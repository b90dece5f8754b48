#include "corvane/testing/FakeMessageConnections.h"

#include <algorithm>
#include <deque>
#include <utility>

#include "corvane/core/fatal.h"

namespace corvane {

namespace {
void post(SerialQueue& queue, std::function<void()> work) {
  if (!queue.async(std::move(work))) fatal("FakeMessageConnections: the system refuses a thread");
}
}  // namespace

// Shared with the connections, which may live longer.
struct FakeMessageConnections::State {
  struct Waiting {
    const Connection* connection;
    SerialQueue* replies;
    MessageConnection::Reply reply;
  };

  Mutex mutex;
  std::vector<Message> requests CORVANE_GUARDED_BY(mutex);
  std::deque<Waiting> waiting CORVANE_GUARDED_BY(mutex);
  std::vector<Connection*> connections CORVANE_GUARDED_BY(mutex);
};

class FakeMessageConnections::Connection : public MessageConnection {
 public:
  Connection(const FakeMessageConnections& helper, SerialQueue& events, SerialQueue& replies,
             std::function<void(ConnectionEvent)> event)
      : m_state(helper.m_state),
        m_pid(helper.pid),
        m_answer(helper.answer),
        m_events(events),
        m_replies(replies),
        m_event(std::move(event)) {
    MutexLock lock(m_state->mutex);
    m_state->connections.push_back(this);
  }

  ~Connection() override { cancel(); }

  void send(const Message& request, Reply reply) override {
    const auto given = m_answer ? m_answer(request) : std::nullopt;
    MutexLock lock(m_state->mutex);
    m_state->requests.push_back(request);
    if (given)
      post(m_replies, [reply = std::move(reply), given] { reply(*given); });
    else
      m_state->waiting.push_back({this, &m_replies, std::move(reply)});
  }

  std::int32_t peerPid() override { return m_pid; }

  void cancel() override {
    MutexLock lock(m_state->mutex);
    if (std::erase(m_state->connections, this) == 0) return;
    m_state->requests.emplace_back("cancelled");
    for (State::Waiting& waiting : m_state->waiting)
      if (waiting.connection == this)
        post(m_replies, [reply = waiting.reply] { reply(MessageError{MessageError::Kind::INVALID, {}, "cancelled"}); });
    std::erase_if(m_state->waiting, [this](const State::Waiting& waiting) { return waiting.connection == this; });
  }

  void announce(ConnectionEvent event) {
    post(m_events, [handler = m_event, event] { handler(event); });
  }

 private:
  const std::shared_ptr<State> m_state;
  const std::int32_t m_pid;
  const std::function<std::optional<Message>(const Message&)> m_answer;
  SerialQueue& m_events;
  SerialQueue& m_replies;
  const std::function<void(ConnectionEvent)> m_event;
};

FakeMessageConnections::FakeMessageConnections() : m_state(std::make_shared<State>()) {}

std::vector<Message> FakeMessageConnections::requests() const {
  MutexLock lock(m_state->mutex);
  return m_state->requests;
}

std::size_t FakeMessageConnections::waiting() const {
  MutexLock lock(m_state->mutex);
  return m_state->waiting.size();
}

bool FakeMessageConnections::reply(const Message& reply) {
  MutexLock lock(m_state->mutex);
  if (m_state->waiting.empty()) return false;
  State::Waiting first = std::move(m_state->waiting.front());
  m_state->waiting.pop_front();
  post(*first.replies, [handler = std::move(first.reply), reply] { handler(reply); });
  return true;
}

void FakeMessageConnections::announce(ConnectionEvent event) {
  MutexLock lock(m_state->mutex);
  for (Connection* const connection : m_state->connections) connection->announce(event);
}

Result<std::unique_ptr<MessageConnection>> FakeMessageConnections::connect(const std::string&, SerialQueue& events,
                                                                           SerialQueue& replies,
                                                                           std::function<void(ConnectionEvent)> event) {
  if (error) return tl::unexpected(*error);
  return std::make_unique<Connection>(*this, events, replies, std::move(event));
}

}  // namespace corvane
