#include "corvane/platform/Translocation.h"

namespace corvane {

namespace {

class LinuxTranslocation : public Translocation {
 public:
  std::optional<std::string> originalPath(const std::string&) override { return std::nullopt; }
  Result<void> verifySignature() override { return {}; }
};

}  // namespace

template <>
std::shared_ptr<Translocation> makeService<Translocation>() {
  return std::make_shared<LinuxTranslocation>();
}

}  // namespace corvane
