#include "corvane/testing/FakeHelperInstaller.h"

namespace corvane {

namespace {

Result<std::optional<std::string>> infoIn(const FakeHelperInstaller::Helpers& helpers, const std::string& label) {
  const auto helper = helpers.find(label);
  if (helper == helpers.end()) return failure("fake", 1, "There is no helper " + label);
  return helper->second;
}

}  // namespace

std::string FakeHelperInstaller::info(const std::string& version) {
  return "<plist><dict><key>CFBundleVersion</key><string>" + version + "</string></dict></plist>";
}

std::vector<std::string> FakeHelperInstaller::requests() const {
  MutexLock lock(m_mutex);
  return m_requests;
}

Result<std::optional<std::string>> FakeHelperInstaller::installedInfo(const std::string& label) {
  MutexLock lock(m_mutex);
  return infoIn(installed, label);
}

Result<std::optional<std::string>> FakeHelperInstaller::bundledInfo(const std::string& label) {
  return infoIn(bundled, label);
}

Result<void> FakeHelperInstaller::install(const std::string& label, Authorization::Reference) {
  MutexLock lock(m_mutex);
  m_requests.push_back("install " + label);
  if (refusal) return tl::unexpected(*refusal);
  const auto info = infoIn(bundled, label);
  if (!info) return tl::unexpected(info.error());
  installed[label] = *info;
  return {};
}

Result<void> FakeHelperInstaller::remove(const std::string& label, Authorization::Reference) {
  MutexLock lock(m_mutex);
  m_requests.push_back("remove " + label);
  if (refusal) return tl::unexpected(*refusal);
  installed.erase(label);
  return {};
}

}  // namespace corvane
