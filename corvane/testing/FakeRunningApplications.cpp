#include "corvane/testing/FakeRunningApplications.h"

namespace corvane {

Result<bool> FakeRunningApplications::contains(pid_t pid) {
  if (error) return tl::unexpected<Error>(*error);
  return applications.contains(pid);
}

Result<std::string> FakeRunningApplications::path(pid_t pid) {
  if (error) return tl::unexpected<Error>(*error);
  const auto found = applications.find(pid);
  if (found == applications.end() || found->second.empty()) return failure("fake", 1, "No application");
  return found->second;
}

Result<void> FakeRunningApplications::activate(pid_t pid) {
  if (error) return tl::unexpected<Error>(*error);
  if (!applications.contains(pid)) return failure("fake", 1, "No application");
  activated.push_back(pid);
  active = pid;
  return {};
}

Result<bool> FakeRunningApplications::isActive(pid_t pid) {
  return contains(pid).map([&](bool contained) { return contained && pid == active; });
}

}  // namespace corvane
