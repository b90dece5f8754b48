#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "apps/inspector/model/ProcessRow.h"
#include "corvane/platform/Result.h"
#include "corvane/system/helper/XPC.h"

namespace corvane::inspector {

/// Reads the figures of all processes: as root by itself, otherwise through the helper, which must be installed. A
/// person is asked for permission once for each reader; a refusal is final for it. One thread at a time.
class FigureReader {
 public:
  /// Connects to the helper; waits at most 5 s.
  FigureReader();

  /// Gives the rows their figures. The first call waits for as long as a person needs for the permission.
  Result<void> addTo(std::vector<ProcessRow>& rows);

 private:
  Result<Message> ask();

  std::shared_ptr<XPC> m_helper;   // null as root
  std::optional<Error> m_refusal;  // the same from then on
};

}  // namespace corvane::inspector
