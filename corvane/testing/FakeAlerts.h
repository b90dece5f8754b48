#pragma once

#include <optional>
#include <vector>

#include "corvane/platform/Alerts.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// A user who answers as a test says.
class CORVANE_API FakeAlerts : public Alerts {
 public:
  std::vector<AlertQuestion> asked;            ///< in order
  AlertAnswer answer = AlertAnswer::DECLINED;  ///< what the user answers
  std::optional<Error> error = {};             ///< if set, nobody can be asked

  Result<AlertAnswer> ask(const AlertQuestion& question) override;
};

}  // namespace corvane
