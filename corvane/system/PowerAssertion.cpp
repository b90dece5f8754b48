#include "corvane/system/PowerAssertion.h"

#include <algorithm>
#include <utility>

#include "corvane/core/Log.h"
#include "corvane/core/SharedInstance.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

// User-initiated, but idle sleep of the system stays allowed.
constexpr std::uint64_t ACTIVITY_OPTIONS = 0xEFFFFF;

PowerManager& manager() {
  return platform().powerManager();
}

}  // namespace

std::shared_ptr<PowerAssertion> PowerAssertion::instance() {
  return SharedInstance<PowerAssertion>::get();
}

void PowerAssertion::setInstance(std::shared_ptr<PowerAssertion> assertion) {
  SharedInstance<PowerAssertion>::set(std::move(assertion));
}

bool PowerAssertion::hasAssertions() const {
  MutexLock lock(m_mutex);
  return !m_sleepAssertionID.empty();
}

void PowerAssertion::setIsNapAllowed(bool allowed) {
  if (allowed == isNapAllowed()) return;
  if (allowed)
    manager().endActivity(*std::exchange(m_activity, std::nullopt));
  else
    m_activity = manager().beginActivity(ACTIVITY_OPTIONS, m_reason);
}

std::int32_t PowerAssertion::prevent(const std::string& type) {
  const auto id = manager().create(type, m_reason);
  if (!id) {
    logNotice("PowerAssertion.prevent: " + id.error().description);
    return id.error().code;
  }
  MutexLock lock(m_mutex);
  m_sleepAssertionID[type] = *id;
  return 0;
}

void PowerAssertion::allow(const std::string& type) {
  MutexLock lock(m_mutex);
  const auto held = m_sleepAssertionID.extract(type);
  lock.unlock();
  if (held) manager().release(held.mapped());
}

void PowerAssertion::allowAll() {
  MutexLock lock(m_mutex);
  const auto held = std::exchange(m_sleepAssertionID, {});
  lock.unlock();
  for (const auto& [type, id] : held) manager().release(id);
}

Result<std::vector<AssertionRecord>> PowerAssertion::records() {
  auto records = manager().assertions();
  if (records)
    std::erase_if(*records, [](const auto& record) { return std::ranges::find(TYPES, record.type) == TYPES.end(); });
  return records;
}

std::vector<AssertionRecord> PowerAssertion::recordsOrNone() {
  auto found = records();
  if (found) return std::move(*found);
  logNotice("PowerAssertion.iterateassertions: " + found.error().description);
  return {};
}

std::optional<std::map<std::int32_t, std::set<std::string>>> PowerAssertion::pidassertions() {
  std::map<std::int32_t, std::set<std::string>> types;
  iterateassertions([&](auto pid, auto&, auto&, auto& type) { types[pid].insert(type); });
  return types.empty() ? std::nullopt : std::optional(std::move(types));
}

std::optional<std::map<std::int32_t, bool>> PowerAssertion::assertions() {
  std::map<std::int32_t, bool> holders;
  iterateassertions([&](auto pid, auto&, auto&, auto&) { holders[pid] = true; });
  return holders.empty() ? std::nullopt : std::optional(std::move(holders));
}

}  // namespace corvane
