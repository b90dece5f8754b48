#include "corvane/testing/FakeHttpSession.h"

#include <utility>

namespace corvane {

class FakeHttpSession::Task : public HttpTask {
 public:
  Task(std::shared_ptr<State> state, std::string url, Completion silent)
      : m_state(std::move(state)), m_url(std::move(url)), m_silent(std::move(silent)) {}

  void cancel() override {
    MutexLock lock(m_state->mutex);
    m_state->cancelled.push_back(m_url);
    if (!m_silent) return;
    m_state->queue.async(
        [completion = std::exchange(m_silent, nullptr)] { completion(failure("fake", 1, "cancelled")); });
  }

 private:
  const std::shared_ptr<State> m_state;
  const std::string m_url;
  Completion m_silent;  // of a request without an answer
};

Result<std::shared_ptr<HttpTask>> FakeHttpSession::start(HttpRequest request, Completion completion) {
  MutexLock lock(m_state->mutex);
  m_state->requests.push_back(request);
  if (silent.contains(request.url)) return std::make_shared<Task>(m_state, request.url, std::move(completion));
  const auto found = replies.find(request.url);
  auto reply =
      found == replies.end() ? failure("fake", 1, "Nothing for " + request.url) : Result<HttpReply>(found->second);
  m_state->queue.async([completion = std::move(completion), reply = std::move(reply)] { completion(reply); });
  return std::make_shared<Task>(m_state, request.url, nullptr);
}

std::vector<HttpRequest> FakeHttpSession::requests() const {
  MutexLock lock(m_state->mutex);
  return m_state->requests;
}

std::vector<std::string> FakeHttpSession::cancelled() const {
  MutexLock lock(m_state->mutex);
  return m_state->cancelled;
}

}  // namespace corvane
