#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/Mutex.h"
#include "corvane/platform/DefaultsStore.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// Settings in memory, which start empty.
class CORVANE_API FakeDefaultsStore : public DefaultsStore {
 public:
  std::shared_ptr<DefaultsDomain> domain(const std::string& name) override;
  Result<std::vector<std::string>> domains() override;
  Result<std::shared_ptr<void>> observe(std::function<void()> changed) override;

  /// From now on every read and write fails with the error; with std::nullopt they work again.
  void fail(std::optional<Error> error);
  /// Changes a domain as another process would.
  void changeFromOutside(const std::string& domain, const std::vector<DefaultsChange>& changes);

 private:
  class Domain;
  struct State {
    Mutex mutex;
    std::map<std::string, std::weak_ptr<Domain>> domains CORVANE_GUARDED_BY(mutex);
    std::map<std::string, std::map<std::string, std::string>> entries CORVANE_GUARDED_BY(mutex);  // by domain
    std::optional<Error> error CORVANE_GUARDED_BY(mutex);
    std::vector<std::weak_ptr<std::function<void()>>> observers CORVANE_GUARDED_BY(mutex);
  };
  const std::shared_ptr<State> m_state = std::make_shared<State>();
};

}  // namespace corvane
