#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Message.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// Who sent a request, as the system vouches for it: nothing of it is the caller's own word.
struct MessageCaller {
  std::string name;        ///< the connection; never used again for another one while the system runs
  std::uint32_t uid = 0;   ///< of its user
  std::int32_t pid = 0;    ///< of its process; may belong to another process once the caller has left
  std::string executable;  ///< path of its program; empty if it cannot be read or has been replaced or deleted
};

/// One request to a helper.
struct MessageRequest {
  Message message;  ///< a dictionary
  MessageCaller caller;
  bool mayAsk = false;  ///< the caller wants a person to be asked for the right that it lacks
  std::function<void(const Message& reply)> reply;  ///< call once, from any thread: a dictionary or a MessageError
};

/// The helper's side of its connections. Destroying it first gives the name up, so that later requests start a new
/// helper, then flushes the replies.
class MessageListener {
 public:
  virtual ~MessageListener() = default;
};

/// Lets a privileged helper answer requests. Any thread.
class MessageListeners {
 public:
  virtual ~MessageListeners() = default;

  /// Called on one thread of the listener, one at a time.
  struct Events {
    std::function<void(MessageRequest)> request;
    std::function<void(const std::string& name)> callerLeft;  ///< a caller that had sent a request left
    std::function<void(const Error&)> lost;                   ///< the name or the bus is lost: no more requests
  };

  /// Takes requests to the label from now on. An Error if the label belongs to somebody else or may not be owned.
  virtual Result<std::unique_ptr<MessageListener>> listen(const std::string& label, Events events) = 0;

  /// Asks whether a caller has a right, and calls `done` with the answer from any thread; an Error stands for no. If
  /// `mayAsk`, a person may be asked, which takes as long as it takes.
  virtual void authorise(const MessageCaller& caller, const std::string& right, bool mayAsk,
                         std::function<void(const Result<bool>& granted)> done) = 0;
};

template <>
CORVANE_API std::shared_ptr<MessageListeners> makeService<MessageListeners>();

}  // namespace corvane
