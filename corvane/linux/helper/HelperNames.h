#pragma once

#include "corvane/platform/HelperKeys.h"

/// The names and places that the library, its root service and the helpers agree on.
namespace corvane::helper_names {

// Between a helper and its callers, at the bus name that is the helper's label: Request(a{sv}) -> (a{sv}).
inline constexpr char OBJECT[] = "/org/corvane/Helper";
inline constexpr char INTERFACE[] = "org.corvane.Helper1";
inline constexpr char METHOD[] = "Request";

// The library's root service.
inline constexpr char SERVICE[] = "org.corvane.Helpers";
inline constexpr char SERVICE_OBJECT[] = "/org/corvane/Helpers";
inline constexpr char SERVICE_INTERFACE[] = "org.corvane.Helpers1";

// polkit's actions of that service: to install and remove helpers; for every right that no other action declares.
inline constexpr char INSTALL_ACTION[] = "org.corvane.helpers.install";
inline constexpr char GENERIC_ACTION[] = "org.corvane.helpers.right";

/// Where helpers are installed: LABEL in this folder.
inline constexpr char FOLDER[] = "/usr/local/libexec/corvane/helpers";
/// What makes the bus start them: LABEL.service.
inline constexpr char BUS_SERVICES[] = "/usr/local/share/dbus-1/system-services";
/// Who may own their names and call them: LABEL.conf.
inline constexpr char BUS_POLICIES[] = "/etc/dbus-1/system.d";
/// The rights that they declare: LABEL.policy.
inline constexpr char ACTIONS[] = "/usr/share/polkit-1/actions";

}  // namespace corvane::helper_names
