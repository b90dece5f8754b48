#pragma once

#include <string>
#include <typeinfo>

#include "corvane/platform/Export.h"

namespace corvane {

/// The name of a type as the compiler shows it to people: "app::Meter", "app::load()::{lambda()#1}".
CORVANE_API std::string typeName(const std::type_info& type);

}  // namespace corvane
