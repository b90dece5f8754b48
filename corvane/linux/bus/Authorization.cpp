#include "corvane/platform/Authorization.h"

#include <atomic>
#include <map>
#include <optional>

#include "corvane/core/Mutex.h"
#include "corvane/core/Text.h"
#include "corvane/linux/bus/Polkit.h"
#include "corvane/linux/helper/HelperNames.h"
#include "corvane/linux/helper/ServiceCall.h"

namespace corvane {

namespace {

Result<void> checkRight(const std::string& right) {
  if (!right.empty() && isUtf8(right) && right.find('\0') == std::string::npos) return {};
  return failure("polkit", 0, "This is not a right: " + repaired(right));
}

// Text that a bus carries: what there is before a NUL.
std::string sendable(const std::string& text) {
  return repaired(text.c_str());
}

// The grants are polkit's, for this process: a reference only stands for them.
class PolkitAuthorization : public Authorization {
 public:
  Result<Reference> create() override { return ++m_last; }

  Result<bool> isDefined(const std::string& right) override {
    const auto valid = checkRight(right);
    if (!valid) return tl::unexpected(valid.error());
    if (description(right)) return true;
    return m_polkit.isDeclared(right);
  }

  // Remembered only: polkit learns of new actions by files of root's.
  Result<void> define(const std::string& right, const std::string& description) override {
    MutexLock lock(m_mutex);
    m_descriptions[right] = description;
    return {};
  }

  Result<void> request(Reference, const std::string& right, const std::string& prompt) override {
    const auto valid = checkRight(right);
    if (!valid) return valid;
    // What was defined here may have been declared since, by a helper that was installed.
    const auto declared = m_polkit.isDeclared(right);
    if (!declared) return tl::unexpected(declared.error());
    const std::string message = sendable(prompt.empty() && !*declared ? description(right).value_or("") : prompt);
    // polkit takes messages from root only.
    if (!*declared || (right == helper_names::INSTALL_ACTION && !message.empty()))
      return requestFromService(right, message);
    return m_polkit.check({.subject = PolkitSubject::thisProcess(), .action = right, .mayAsk = true});
  }

  void release(Reference) override {}

 private:
  std::optional<std::string> description(const std::string& right) {
    MutexLock lock(m_mutex);
    const auto found = m_descriptions.find(right);
    return found == m_descriptions.end() ? std::nullopt : std::optional(found->second);
  }

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
