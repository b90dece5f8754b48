#pragma once

#include <QString>
#include <QUrl>
#include <functional>
#include <string>

#include "corvane/platform/Export.h"

namespace corvane {

/// Opens an address in the user's application for it, in the background. If that fails, `who` and the reason are
/// logged. Afterwards `finished` is called on the main queue, with the reason, which is empty if it was opened.
CORVANE_API void openURL(const QUrl& url, std::string who, std::function<void(const QString& reason)> finished = {});

}  // namespace corvane
