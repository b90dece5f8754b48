#include "corvane/platform/Platform.h"

namespace corvane {

namespace {
std::atomic<Platform*> s_replacement = nullptr;
}

std::uint64_t Platform::nextSerial() {
  static std::atomic<std::uint64_t> last = 0;
  return ++last;
}

Platform& platform() {
  if (Platform* replacement = s_replacement.load(std::memory_order_acquire)) return *replacement;
  static auto& real = *new Platform;
  return real;
}

ScopedPlatform::ScopedPlatform(Platform& replacement)
    : m_previous(s_replacement.exchange(&replacement, std::memory_order_acq_rel)) {}

ScopedPlatform::~ScopedPlatform() {
  s_replacement.store(m_previous, std::memory_order_release);
}

}  // namespace corvane
