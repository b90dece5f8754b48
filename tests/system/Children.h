#pragma once

#include <string>

namespace corvane {

/// Programs for tests (see Child.cpp), and command lines for /bin/sh that behave badly.
inline const std::string CHILD = CORVANE_TEST_BIN "/system_child";
inline const std::string CLOSES_AND_LIVES = "printf bye; exec <&- >&- 2>&-; sleep 0.3; exit 7";
inline const std::string LEAVES_A_GRANDCHILD = "printf 'child '; (sleep 0.3; printf grandchild) & exit 3";

}  // namespace corvane
