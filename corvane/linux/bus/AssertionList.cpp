#include "corvane/linux/bus/AssertionList.h"

#include <unistd.h>

#include <algorithm>
#include <optional>

#include "corvane/core/Text.h"
#include "corvane/platform/Platform.h"
#include "corvane/platform/ProgramName.h"

namespace corvane {

namespace {

struct Tagged {
  std::string reason;
  const AssertionKind* kind;
};

std::optional<Tagged> readTag(const LoginLock& lock) {
  static constexpr std::string_view OPEN = " [";
  const std::string_view text = lock.why;
  const auto open = text.rfind(OPEN);
  if (open == text.npos || !text.ends_with(']')) return std::nullopt;
  const auto begin = open + OPEN.size();
  const AssertionKind* kind = assertionKind(text.substr(begin, text.size() - begin - 1));
  if (!kind || lock.what != kind->action()) return std::nullopt;
  return Tagged{std::string(text.substr(0, open)), kind};
}

}  // namespace

std::string taggedReason(const AssertionKind& kind, const std::string& reason) {
  return reason + " [" + std::string(kind.type) + "]";
}

void AssertionList::addOwn(const AssertionKind& kind, const std::string& reason, bool isListed) {
  m_records.push_back({getpid(), repaired(std::string(programName())), reason, std::string(kind.type)});
  if (isListed) m_again.emplace(reason, kind.display);
}

void AssertionList::add(const LoginLock& lock) {
  if (lock.mode != "block") return;
  if (const auto tagged = readTag(lock)) {
    add(lock, tagged->reason, tagged->kind->type);
    m_again.emplace(tagged->reason, tagged->kind->display);
    return;
  }
  if (lock.covers("idle")) add(lock, lock.why, "PreventUserIdleSystemSleep");
  if (lock.covers("sleep")) add(lock, lock.why, "PreventSystemSleep");
}

void AssertionList::add(const LoginLock& lock, std::string name, std::string_view type) {
  std::optional<std::string> process;
  if (!lock.who.empty())
    process = lock.who;
  else if (const auto info = platform().processTable().process(lock.pid))
    process = repaired(info->name);
  m_records.push_back({lock.pid, std::move(process), std::move(name), std::string(type)});
}

void AssertionList::add(const ListedInhibitor& inhibitor) {
  if (inhibitor.display) add(inhibitor, true, "PreventUserIdleDisplaySleep");
  if (inhibitor.system) add(inhibitor, false, "PreventUserIdleSystemSleep");
}

void AssertionList::add(const ListedInhibitor& inhibitor, bool display, std::string_view type) {
  if (const auto again = m_again.find({inhibitor.why, display}); again != m_again.end()) {
    m_again.erase(again);
    return;
  }
  const AssertionRecord record{inhibitor.pid, inhibitor.who, inhibitor.why, std::string(type)};
  // An application of another kind may also have asked both.
  const bool isKnown = std::ranges::any_of(m_records, [&record](const AssertionRecord& other) {
    return other.pid == record.pid && other.name == record.name && other.type == record.type;
  });
  if (!isKnown) m_records.push_back(record);
}

}  // namespace corvane
