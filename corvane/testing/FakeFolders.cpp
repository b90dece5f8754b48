#include "corvane/testing/FakeFolders.h"

namespace corvane {

Result<std::string> FakeFolders::below(const std::string& name) const {
  if (m_root.empty()) return failure("fake", 1, "There are no folders");
  return m_root + name;
}

Result<std::string> FakeFolders::home() {
  return below("");
}
Result<std::string> FakeFolders::library() {
  return below("/Library");
}
Result<std::string> FakeFolders::caches() {
  return below("/.cache");
}
Result<std::string> FakeFolders::configuration() {
  return below("/.config");
}
Result<std::string> FakeFolders::applicationSupport() {
  return below("/.local/share");
}

}  // namespace corvane
