#include "corvane/platform/PowerManager.h"

#include <errno.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "corvane/core/Mutex.h"
#include "corvane/core/PerProcess.h"
#include "corvane/core/Text.h"
#include "corvane/linux/bus/AssertionKinds.h"
#include "corvane/linux/bus/AssertionList.h"
#include "corvane/linux/bus/BusLink.h"
#include "corvane/linux/bus/LoginLocks.h"
#include "corvane/linux/bus/SessionInhibitors.h"
#include "corvane/linux/process/Activities.h"
#include "corvane/platform/ProgramName.h"

namespace corvane {

namespace {

// A list is to answer within a second: that leaves some time for what is not a call.
constexpr std::chrono::milliseconds LIST_LIMIT{800};

tl::unexpected<Error> invalid(int code, const std::string& description) {
  return failure("posix", code, description);
}

Result<const AssertionKind*> check(const std::string& type, const std::string& reason) {
  const AssertionKind* const kind = assertionKind(type);
  if (!kind) return invalid(EINVAL, "There is no assertion type \"" + repaired(type.substr(0, 64)) + "\"");
  if (reason.empty()) return invalid(EINVAL, "An assertion needs a reason");
  if (reason.size() > PowerManager::MAX_REASON)
    return invalid(EMSGSIZE, "The reason has more than " + std::to_string(PowerManager::MAX_REASON) + " bytes");
  if (!isUtf8(reason) || reason.find('\0') != std::string::npos)
    return invalid(EILSEQ, "The reason is not text in UTF-8");
  return kind;
}

// An assertion of this process. It has at least one of the two.
struct Held {
  const AssertionKind* kind = nullptr;
  std::string reason;
  FileDescriptor lock;
  std::optional<SessionInhibitor> inhibitor;
};

// What belongs to one process: a forked child can use neither its parent's connections nor its cookies.
class Assertions {
 public:
  // `lastId` goes on in a child, which may still know its parent's ids.
  Result<std::uint32_t> create(const AssertionKind& kind, const std::string& reason,
                               std::atomic<std::uint32_t>& lastId) {
    const Deadline deadline;
    const std::string who = repaired(std::string(programName()));
    Result<SessionInhibitor> inhibitor;
    auto lock = takeLoginLock(m_system, kind.action(), who, taggedReason(kind, reason), deadline,
                              [&] { inhibitor = takeSessionInhibitor(m_session, kind, who, reason, deadline); });
    if (!lock && !inhibitor) return bothFailed(powerError(lock.error()), powerError(inhibitor.error()));
    Held held{&kind, reason, lock ? std::move(*lock) : FileDescriptor(), std::nullopt};
    if (inhibitor) held.inhibitor = std::move(*inhibitor);
    MutexLock guard(m_mutex);
    std::uint32_t id = 0;
    while (id == 0 || m_held.contains(id)) id = ++lastId;
    m_held.emplace(id, std::move(held));
    return id;
  }

  void release(std::uint32_t id) {
    MutexLock guard(m_mutex);
    const auto held = m_held.extract(id);
    guard.unlock();
    if (held && held.mapped().inhibitor) held.mapped().inhibitor->release();
  }

  Result<std::vector<AssertionRecord>> list() {
    const Deadline deadline(LIST_LIMIT);
    Result<SessionList> session;
    const auto locks = loginLocks(m_system, deadline, [&] { session = listSession(m_session, deadline); });
    AssertionList list;
    addUnlocked(list);
    if (locks) {
      // The session manager's own lock stands for what it lists one by one.
      for (const LoginLock& lock : *locks)
        if (!session || lock.pid != session->manager) list.add(lock);
    }
    if (session)
      for (const ListedInhibitor& inhibitor : session->inhibitors) list.add(inhibitor);
    auto records = list.take();
    if (!locks && !session && records.empty()) return tl::unexpected<Error>(powerError(locks.error()));
    return records;
  }

 private:
  void addUnlocked(AssertionList& list) {
    MutexLock guard(m_mutex);
    for (const auto& [id, held] : m_held)
      if (held.lock.get() < 0 && held.inhibitor->isInForce())
        list.addOwn(*held.kind, held.reason, held.inhibitor->isListed());
  }

  static tl::unexpected<Error> bothFailed(const Error& lock, const Error& inhibitor) {
    return invalid(lock.code == ENOTSUP ? inhibitor.code : lock.code, lock.description + "; " + inhibitor.description);
  }

  BusLink m_system{G_BUS_TYPE_SYSTEM};
  BusLink m_session{G_BUS_TYPE_SESSION};
  Mutex m_mutex;
  std::map<std::uint32_t, Held> m_held CORVANE_GUARDED_BY(m_mutex);
};

class LinuxPowerManager : public PowerManager {
 public:
  Result<std::uint32_t> create(const std::string& type, const std::string& reason) override {
    return check(type, reason).and_then([&](const AssertionKind* kind) {
      return m_assertions().create(*kind, reason, m_lastId);
    });
  }
  void release(std::uint32_t id) override { m_assertions().release(id); }
  Result<std::vector<AssertionRecord>> assertions() override { return m_assertions().list(); }

  std::uint64_t beginActivity(std::uint64_t, const std::string&) override { return m_activities().begin(); }
  void endActivity(std::uint64_t token) override { m_activities().end(token); }

 private:
  std::atomic<std::uint32_t> m_lastId = 0;
  PerProcess<Assertions> m_assertions;
  PerProcess<Activities> m_activities;
};

}  // namespace

template <>
std::shared_ptr<PowerManager> makeService<PowerManager>() {
  return std::make_shared<LinuxPowerManager>();
}

}  // namespace corvane
