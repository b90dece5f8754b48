#include "corvane/testing/FakePowerManager.h"

namespace corvane {

Result<std::uint32_t> FakePowerManager::create(const std::string& type, const std::string& reason) {
  if (refusal) return tl::unexpected<Error>(*refusal);
  held[++m_lastId] = {type, 0, reason};
  return m_lastId;
}

void FakePowerManager::release(std::uint32_t id) {
  released.push_back(id);
  held.erase(id);
}

Result<std::vector<AssertionRecord>> FakePowerManager::assertions() {
  if (failure) return tl::unexpected<Error>(*failure);
  return records;
}

std::uint64_t FakePowerManager::beginActivity(std::uint64_t options, const std::string& reason) {
  activities[++m_lastToken] = {{}, options, reason};
  return m_lastToken;
}

void FakePowerManager::endActivity(std::uint64_t token) {
  activities.erase(token);
}

}  // namespace corvane
