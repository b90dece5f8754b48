#include "corvane/platform/DiagnosticsPort.h"

#include <errno.h>

#include "corvane/core/Files.h"

namespace corvane {

namespace {

// Nobody can look in yet.
class NoDiagnosticsPort : public DiagnosticsPort {
 public:
  Result<std::shared_ptr<void>> open(std::shared_ptr<Inspectable>) override { return systemFailure(ENOTSUP); }
  Result<std::vector<std::int32_t>> programs() override { return systemFailure(ENOTSUP); }
  Result<std::shared_ptr<Inspectable>> connect(std::int32_t) override { return systemFailure(ENOTSUP); }
};

}  // namespace

template <>
std::shared_ptr<DiagnosticsPort> makeService<DiagnosticsPort>() {
  return std::make_shared<NoDiagnosticsPort>();
}

}  // namespace corvane
