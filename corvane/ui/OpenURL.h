#pragma once

#include <QString>
#include <QUrl>
#include <functional>
#include <string>

namespace corvane {

/// Opens an address in the user's application for it, in the background. If that fails, `who` and the reason are
/// logged, and `failed` is called with the reason on the main queue.
void openURL(const QUrl& url, std::string who, std::function<void(const QString& reason)> failed = {});

}  // namespace corvane
