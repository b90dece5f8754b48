#pragma once

#include "corvane/infra/values/PropertyList.h"

namespace corvane {

/// The bytes of an Info.plist for a fake bundle.
inline std::string infoPlist(const Value& info) {
  return writePropertyList(info, PropertyListFormat::XML).value();
}

}  // namespace corvane
