#include "corvane/testing/FakeWorkspace.h"

#include <utility>

namespace corvane {

namespace {

Result<std::string> find(const std::map<std::string, std::string>& map, const std::string& key) {
  const auto found = map.find(key);
  if (found == map.end()) return failure("fake", 1, "Nothing for " + key);
  return found->second;
}

}  // namespace

Result<std::string> FakeWorkspace::iconFile(const std::string& path, int) {
  ++iconLookups;
  return find(icons, path);
}

Result<std::string> FakeWorkspace::applicationPath(const std::string& identifier) {
  return find(applications, identifier);
}

Result<void> FakeWorkspace::launch(const std::string& identifier, LaunchOptions) {
  return note("launch " + identifier);
}
Result<void> FakeWorkspace::open(const std::string& pathOrURL) {
  return note("open " + pathOrURL);
}
Result<void> FakeWorkspace::reveal(const std::string& path) {
  return note("reveal " + path);
}

std::vector<std::string> FakeWorkspace::callsSoFar() const {
  MutexLock lock(m_mutex);
  return calls;
}

Result<void> FakeWorkspace::note(std::string call) {
  {
    MutexLock lock(m_mutex);
    calls.push_back(std::move(call));
  }
  if (error) return tl::unexpected<Error>(*error);
  return {};
}

}  // namespace corvane
