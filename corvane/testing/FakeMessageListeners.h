#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/MessageListeners.h"

namespace corvane {

/// Callers and rights defined by a test, which sends a helper's server requests. Any thread; set the fields first.
class CORVANE_API FakeMessageListeners : public MessageListeners {
 public:
  std::optional<Error> error;                              ///< if set, listen() fails with it
  Result<std::optional<std::string>> info = std::nullopt;  ///< the result of ownInfo()
  std::set<std::string> rights;                            ///< what every caller has
  bool hesitates = false;                                  ///< questions for rights wait for decide()
  std::function<void()> beforeClose;  ///< called when the label is given up; what is sent in it still arrives

  /// Sends a request to the helper. Returns its number, from 0.
  std::size_t send(Message message, MessageCaller from, bool mayAsk = false);
  std::size_t send(Message message) { return send(std::move(message), caller()); }

  /// A caller.
  static MessageCaller caller(std::string name = ":1.1", std::string executable = "/usr/bin/program");

  /// The reply to a request, if it has been answered.
  std::optional<Message> reply(std::size_t number) const;

  /// A caller disconnects.
  void leave(const std::string& name);
  /// The label is lost.
  void lose(const Error& why);

  /// The rights that were asked for, in order, followed by "?" if a person might be asked.
  std::vector<std::string> questions() const;
  /// Answers all that wait.
  void decide();

  /// Whether a helper listens.
  bool isListening() const;

  Result<std::unique_ptr<MessageListener>> listen(const std::string& label, Events events) override;
  void authorise(const MessageCaller& caller, const std::string& right, bool mayAsk,
                 std::function<void(const Result<void>& granted)> done) override;
  Result<std::optional<std::string>> ownInfo() override { return info; }

 private:
  class Listener;
  mutable Mutex m_mutex;
  std::optional<Events> m_events CORVANE_GUARDED_BY(m_mutex);
  std::vector<std::optional<Message>> m_replies CORVANE_GUARDED_BY(m_mutex);
  std::vector<std::string> m_questions CORVANE_GUARDED_BY(m_mutex);
  std::vector<std::function<void()>> m_waiting CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace corvane
