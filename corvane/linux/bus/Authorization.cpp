#include "corvane/platform/Authorization.h"

#include <atomic>
#include <map>

#include "corvane/core/Mutex.h"
#include "corvane/core/Text.h"
#include "corvane/linux/bus/Polkit.h"
#include "corvane/linux/helper/HelperNames.h"
#include "corvane/linux/helper/ServiceCall.h"

namespace corvane {

namespace {

// Text that a bus carries.
bool isSendable(const std::string& text) {
  return isUtf8(text) && text.find('\0') == std::string::npos;
}

// The grants are polkit's, for this process: a reference only stands for them.
class PolkitAuthorization : public Authorization {
 public:
  Result<Reference> create() override { return ++m_last; }

  Result<bool> isDefined(const std::string& right) override {
    MutexLock lock(m_mutex);
    if (m_descriptions.contains(right)) return true;
    lock.unlock();
    if (right.empty() || !isSendable(right)) return failure("polkit", 0, "This is not a right: " + repaired(right));
    return m_polkit.isDeclared(right);
  }

  // Remembered only: polkit learns of new actions by files of root's.
  Result<void> define(const std::string& right, const std::string& description) override {
    MutexLock lock(m_mutex);
    m_descriptions[right] = description;
    return {};
  }

  Result<void> request(Reference, const std::string& right, const std::string& prompt) override {
    MutexLock lock(m_mutex);
    const auto described = m_descriptions.find(right);
    const bool isDefinedHere = described != m_descriptions.end();
    const std::string message = repaired(prompt.empty() && isDefinedHere ? described->second : prompt);
    lock.unlock();
    // polkit takes messages from root only.
    if (isDefinedHere || (right == helper_names::INSTALL_ACTION && !message.empty()))
      return requestFromService(right, message);
    return m_polkit.check({.subject = PolkitSubject::thisProcess(), .action = right, .mayAsk = true});
  }

  void release(Reference) override {}

 private:
  static Result<void> requestFromService(const std::string& right, const std::string& message) {
    const auto reply = callHelperService("Authorise", "()", g_variant_new("(ss)", right.c_str(), message.c_str()));
    if (!reply) return tl::unexpected(reply.error());
    return {};
  }

  Polkit m_polkit;
  std::atomic<Reference> m_last = 0;
  Mutex m_mutex;
  std::map<std::string, std::string> m_descriptions CORVANE_GUARDED_BY(m_mutex);  // of the rights defined here
};

}  // namespace

template <>
std::shared_ptr<Authorization> makeService<Authorization>() {
  return std::make_shared<PolkitAuthorization>();
}

}  // namespace corvane
