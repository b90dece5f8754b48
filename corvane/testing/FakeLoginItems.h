#pragma once

#include <map>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/LoginItems.h"

namespace corvane {

/// A session that only records what it is to start.
class CORVANE_API FakeLoginItems : public LoginItems {
 public:
  std::map<std::string, LoginItem> items;  ///< by label
  std::optional<Error> error;              ///< if set, every call fails with it

  Result<void> add(const LoginItem& item) override;
  Result<void> remove(const std::string& label) override;
};

}  // namespace corvane
