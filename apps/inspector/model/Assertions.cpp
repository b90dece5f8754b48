#include "apps/inspector/model/Assertions.h"

#include <algorithm>
#include <iterator>
#include <tuple>

#include "corvane/system/PID.h"
#include "corvane/system/PowerAssertion.h"

namespace corvane::inspector {

Result<std::vector<AssertionRecord>> readAssertions() {
  auto records = PowerAssertion::records();
  if (!records) return records;
  for (AssertionRecord& record : *records)
    if (!record.process) record.process = PID(record.pid).name();
  std::ranges::sort(*records, isBefore);
  return records;
}

bool isBefore(const AssertionRecord& a, const AssertionRecord& b) {
  return std::tie(a.pid, a.type, a.name, a.process) < std::tie(b.pid, b.type, b.name, b.process);
}

AssertionChanges changesBetween(const std::vector<AssertionRecord>& before, const std::vector<AssertionRecord>& after) {
  AssertionChanges changes;
  std::ranges::set_difference(before, after, std::back_inserter(changes.released), isBefore);
  std::ranges::set_difference(after, before, std::back_inserter(changes.taken), isBefore);
  return changes;
}

}  // namespace corvane::inspector
