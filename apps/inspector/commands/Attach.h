#pragma once

#include "apps/common/Command.h"

namespace corvane::inspector {

int attach(const Arguments& arguments);

}  // namespace corvane::inspector
