#pragma once

#include <QAbstractButton>
#include <string>

#include "corvane/platform/Export.h"

namespace corvane {

/// Shows the icon of the application with this identifier on a button, from the shared IconCache; an unknown
/// identifier, or an application without an icon, leaves the button's icon as it is. Main thread.
CORVANE_API void loadBundleIcon(QAbstractButton& button, const std::string& bundleID);

}  // namespace corvane
