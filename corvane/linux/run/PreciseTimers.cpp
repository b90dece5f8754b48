#include "corvane/platform/PreciseTimers.h"

#include <sys/prctl.h>

namespace corvane {

PreciseTimers::PreciseTimers() {
  const int slack = prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
  m_previous = slack > 0 ? static_cast<unsigned long>(slack) : 0;  // 0 restores the kernel's default
  prctl(PR_SET_TIMERSLACK, 1, 0, 0, 0);
}

PreciseTimers::~PreciseTimers() {
  prctl(PR_SET_TIMERSLACK, m_previous, 0, 0, 0);
}

}  // namespace corvane
