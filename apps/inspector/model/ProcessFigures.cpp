#include "apps/inspector/model/ProcessFigures.h"

#include <algorithm>
#include <map>
#include <utility>

#include "corvane/platform/Platform.h"
#include "corvane/system/procinfo/procinfo.h"

namespace corvane::inspector {

namespace {
constexpr std::size_t FIELDS = 5;
}

Message readFigures() {
  Message::Array fields;
  const auto add = [&fields](std::uint64_t value) { fields.emplace_back(static_cast<std::int64_t>(value)); };
  static_cast<void>(platform().processTable().each([&](const ProcessInfo& process) {
    rusage_info_v3 usage{};
    if (procinfo_rusage(process.pid, &usage) != 0) return;  // it has ended, or is not for this user
    fields.emplace_back(process.pid);
    for (const std::uint64_t value :
         {process.started / 1000, usage.ri_phys_footprint, usage.ri_diskio_bytesread, usage.ri_diskio_byteswritten})
      add(value);
  }));
  return Message::Dictionary{{FIGURES, std::move(fields)}};
}

void addFigures(const Message& message, std::vector<ProcessRow>& rows) {
  const Message* entry = message.find(FIGURES);
  const auto* fields = entry ? entry->asArray() : nullptr;
  if (!fields) return;
  std::map<std::pair<std::int64_t, std::int64_t>, ProcessFigures> known;  // by id and start
  for (std::size_t first = 0; first + FIELDS <= fields->size(); first += FIELDS) {
    const auto field = [&](std::size_t index) {
      const std::int64_t* value = (*fields)[first + index].asInteger();
      return value ? *value : -1;
    };
    const auto bytes = [&](std::size_t index) {
      return static_cast<std::uint64_t>(std::max<std::int64_t>(field(index), 0));
    };
    known[{field(0), field(1)}] = {bytes(2), bytes(3), bytes(4)};
  }
  const std::int64_t boot = platform().processTable().bootTime();
  for (ProcessRow& row : rows)
    if (const auto found = known.find({row.pid, row.started - boot}); found != known.end()) row.figures = found->second;
}

}  // namespace corvane::inspector
