#pragma once

#include <string>
#include <string_view>

#include "corvane/linux/bus/Bus.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// What an assertion of a type asks for on Linux.
struct AssertionKind {
  std::string_view type;
  bool display;  ///< keeps the display on, rather than the system running
  bool forced;   ///< also against a sleep that somebody asks for, rather than only against that of an idle system

  /// What the login manager must block for it.
  const char* action() const { return forced ? "sleep" : "idle"; }
};

/// The kind of a type; null if the type is unknown.
const AssertionKind* assertionKind(std::string_view type);

/// The Error that says in terms of PowerManager.h why a call of a service failed.
Error powerError(Error error);

}  // namespace corvane
