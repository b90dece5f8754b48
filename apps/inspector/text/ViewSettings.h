#pragma once

#include <array>
#include <string>
#include <string_view>

#include "apps/inspector/model/Order.h"
#include "apps/inspector/model/ProcessOrder.h"
#include "apps/inspector/model/RepeaterTable.h"
#include "corvane/infra/settings/UserDefaults.h"

namespace corvane::inspector {

/// What the live view and the window remember between runs, in the program's settings.
struct ViewSettings {
  static constexpr std::string_view AVERAGE = "average";
  static constexpr std::string_view SORT = "sort";
  static constexpr std::string_view PROCESSES = "processes";

  int average = 10;  ///< seconds, 1 to 60
  Order<RepeaterColumn> repeaters = {RepeaterColumn::NAME, false};
  Order<ProcessColumn> processes = {ProcessColumn::PROCESSOR, true};

  bool operator==(const ViewSettings&) const = default;

  /// The stored settings, with the defaults above for those that are missing or invalid.
  static ViewSettings load();

  /// Stores the settings that differ from `before`, all or none.
  Result<void> save(const ViewSettings& before) const;
};

/// One setting, as text.
struct ViewSetting {
  std::string_view key;
  /// Takes the setting from its text; false if that is invalid.
  bool (*read)(std::string_view text, ViewSettings& settings);
  Value (*value)(const ViewSettings& settings);
  std::string_view expected;  ///< what read() accepts: "expects ..."
};

extern const std::array<ViewSetting, 3> VIEW_SETTINGS;

}  // namespace corvane::inspector
