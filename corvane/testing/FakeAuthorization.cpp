#include "corvane/testing/FakeAuthorization.h"

namespace corvane {

std::vector<std::string> FakeAuthorization::requests() const {
  MutexLock lock(m_mutex);
  return m_requests;
}

std::size_t FakeAuthorization::references() const {
  MutexLock lock(m_mutex);
  return m_references.size();
}

Result<Authorization::Reference> FakeAuthorization::create() {
  if (error) return tl::unexpected(*error);
  MutexLock lock(m_mutex);
  m_references.insert(++m_last);
  return m_last;
}

Result<bool> FakeAuthorization::isDefined(const std::string& right) {
  if (unknown) return tl::unexpected(*unknown);
  MutexLock lock(m_mutex);
  return rights.contains(right);
}

Result<void> FakeAuthorization::define(const std::string& right, const std::string& description) {
  if (indefinable) return tl::unexpected(*indefinable);
  MutexLock lock(m_mutex);
  rights[right] = description;
  return {};
}

Result<void> FakeAuthorization::request(Reference reference, const std::string& right, const std::string& prompt) {
  MutexLock lock(m_mutex);
  m_requests.push_back(prompt.empty() ? right : right + " (" + prompt + ")");
  if (!m_references.contains(reference)) return failure("fake", 1, "This reference has been released");
  if (refusal) return tl::unexpected(*refusal);
  return {};
}

void FakeAuthorization::release(Reference reference) {
  MutexLock lock(m_mutex);
  m_references.erase(reference);
}

}  // namespace corvane
