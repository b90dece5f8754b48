#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Message.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// Who sent a request, as the system vouches for it: nothing of it is the caller's own word.
struct MessageCaller {
  static constexpr std::uint32_t NOBODY = ~std::uint32_t{0};  ///< of an id that is not known

  std::string name;            ///< the connection; never used again for another one while the system runs
  std::uint32_t uid = NOBODY;  ///< of its user
  /// Of its process, which may have another one's once the caller has left; 0 if it has ended and its connection lives
  /// on in another process. Such a caller gets no right.
  std::int32_t pid = 0;
  std::string executable;  ///< path of its program; empty if it cannot be read or has been replaced or deleted
  /// It left before the request was looked at: nobody waits for a reply, and the other fields are from its previous
  /// request, or as they are here if this is the only one; callerLeft is not called for such a one.
  bool hasLeft = false;
};

/// One request to a helper.
struct MessageRequest {
  Message message;       ///< a dictionary
  MessageCaller caller;  ///< who sent it
  bool mayAsk = false;   ///< the caller wants a person to be asked for the right that it lacks
  /// Answers with a dictionary or a MessageError. Call it once, from any thread; if all copies are dropped instead, the
  /// caller gets an error.
  std::function<void(const Message& reply)> reply;
};

/// The helper's side of its connections. Destroying it closes it and flushes the replies; later ones are lost.
class MessageListener {
 public:
  virtual ~MessageListener() = default;

  /// Gives the label up, so that what is sent from now on starts a new helper. What was sent before has arrived when
  /// this returns. Not on the thread of the events.
  virtual void close() = 0;
};

/// Lets a privileged helper answer requests. Any thread.
///
/// On Linux: the system bus. What a user's programs have sent and is not answered yet is limited to 256 requests with
/// 64 MiB and 64 descriptors; what is beyond that gets an error at once.
///
/// @feature Writing helpers: `HelperServer`.
/// @needs The system bus, and polkit (`polkitd`) for rights.
/// @without The helper gets no requests; without polkit, those that need a right are refused.
class MessageListeners {
 public:
  virtual ~MessageListeners() = default;

  /// Called on one thread of the listener, one at a time.
  struct Events {
    std::function<void(MessageRequest)> request;              ///< a request has come; it has its reply
    std::function<void(const std::string& name)> callerLeft;  ///< a caller that had sent a request left
    std::function<void(const Error&)> lost;                   ///< the name or the bus is lost: no more requests
  };

  /// Takes requests to the label from now on, for one listener of the process at a time. An Error if the label belongs
  /// to somebody else or may not be owned.
  virtual Result<std::unique_ptr<MessageListener>> listen(const std::string& label, Events events) = 0;

  /// Asks whether a caller of the listener has a right, and calls `done` with the answer from any thread; an Error
  /// stands for no and says why. If `mayAsk`, a person may be asked, which takes as long as it takes.
  virtual void authorise(const MessageCaller& caller, const std::string& right, bool mayAsk,
                         std::function<void(const Result<void>& granted)> done) = 0;

  /// The bytes of the information dictionary inside this program's executable, a property list; std::nullopt if it
  /// contains none. Files beside it never count.
  virtual Result<std::optional<std::string>> ownInfo() = 0;
};

template <>
CORVANE_API std::shared_ptr<MessageListeners> makeService<MessageListeners>();

}  // namespace corvane
