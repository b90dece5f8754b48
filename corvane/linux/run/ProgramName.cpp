#include "corvane/platform/ProgramName.h"

#include <errno.h>

namespace corvane {

std::string_view programName() noexcept {
  return program_invocation_short_name;
}

}  // namespace corvane
