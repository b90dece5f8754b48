#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "corvane/linux/bus/AssertionKinds.h"
#include "corvane/linux/bus/LoginLocks.h"
#include "corvane/linux/bus/SessionInhibitors.h"
#include "corvane/platform/PowerManager.h"

namespace corvane {

/// The reason for a lock in the login manager, which knows actions but no assertion types: the type stands at its end.
std::string taggedReason(const AssertionKind& kind, const std::string& reason);

/// The system's assertions, put together from what several sources report. Add them in the order of the functions.
class AssertionList {
 public:
  /// One of this process that the login manager does not list. `isListed`: the session manager does.
  void addOwn(const AssertionKind& kind, const std::string& reason, bool isListed);

  void add(const LoginLock& lock);

  /// Leaves out an inhibitor that one of this library's lists already had: it belongs to the same assertion.
  void add(const ListedInhibitor& inhibitor);

  std::vector<AssertionRecord> take() { return std::move(m_records); }

 private:
  void add(const LoginLock& lock, std::string name, std::string_view type);
  void add(const ListedInhibitor& inhibitor, bool display, std::string_view type);

  std::vector<AssertionRecord> m_records;
  // What the session manager reports once more: the reason, and whether it is about the display. It knows no types.
  std::multiset<std::pair<std::string, bool>> m_again;
};

}  // namespace corvane
