#pragma once

#include <string>
#include <string_view>

#include "apps/common/Command.h"
#include "apps/inspector/model/Order.h"
#include "apps/inspector/text/ProcessColumn.h"
#include "apps/inspector/text/TaskTable.h"
#include "corvane/infra/settings/UserDefaults.h"

namespace corvane::inspector {

/// What the live view remembers between runs, in the program's settings.
struct ViewSettings {
  static constexpr std::string_view AVERAGE = "average";
  static constexpr std::string_view SORT = "sort";
  static constexpr std::string_view PROCESSES = "processes";

  int average = 10;  ///< seconds, 1 to 60
  Order<Column> repeaters = {Column::NAME, false};
  Order<ProcessColumn> processes = {ProcessColumn::PROCESSOR, true};

  bool operator==(const ViewSettings&) const = default;

  /// The stored ones; those above for what is not stored or makes no sense.
  static ViewSettings load();

  /// Stores what differs from `before`, together.
  Result<void> save(const ViewSettings& before) const;
};

inline constexpr std::string_view SETTINGS_HELP =
    "  [KEY [VALUE]]  show what the live view remembers, or one setting, or change it:\n"
    "                 average, in seconds from 1 to 60; sort, by name, count, total,\n"
    "                 interval or duration, with - in front from the largest;\n"
    "                 processes, the same by pid, parent, user, state, kind, cpu,\n"
    "                 memory, threads, time or name\n"
    "  --reset        forget all changes\n";

/// The command that shows and changes the settings, also while a live view runs.
int settings(const Arguments& arguments);

}  // namespace corvane::inspector
