#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/HttpSession.h"

namespace corvane {

/// A network defined by a test, which records the requests. Answers arrive on a thread of the session.
class CORVANE_API FakeHttpSession : public HttpSession {
 public:
  std::map<std::string, HttpReply> replies;  ///< URL → answer; any other URL fails
  std::set<std::string> silent;              ///< URLs that get no answer until their request is cancelled

  Result<std::shared_ptr<HttpTask>> start(HttpRequest request, Completion completion) override;

  std::vector<HttpRequest> requests() const;   ///< all that were started, in order
  std::vector<std::string> cancelled() const;  ///< the URLs of those that were cancelled, in order

 private:
  class Task;
  struct State {
    Mutex mutex;
    std::vector<HttpRequest> requests CORVANE_GUARDED_BY(mutex);
    std::vector<std::string> cancelled CORVANE_GUARDED_BY(mutex);
    DispatchQueueSerial queue{"fake.http", QoS::DEFAULT};
  };
  const std::shared_ptr<State> m_state = std::make_shared<State>();
};

}  // namespace corvane
