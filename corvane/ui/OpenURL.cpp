#include "corvane/ui/OpenURL.h"

#include <utility>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Log.h"
#include "corvane/core/MainQueue.h"
#include "corvane/platform/Platform.h"

namespace corvane {

// Asks another process, so not on the main thread.
void openURL(const QUrl& url, std::string who, std::function<void(const QString& reason)> finished) {
  const auto work = [address = url.toEncoded().toStdString(), who = std::move(who), finished = std::move(finished),
                     &workspace = platform().workspace()] {
    const auto opened = workspace.open(address);
    const std::string reason = opened ? "" : opened.error().description;
    if (!opened) logNotice(who + ": " + reason);
    if (finished) main_post([finished, reason = QString::fromStdString(reason)] { finished(reason); });
  };
  static auto& queue = *new DispatchQueueSerial("org.corvane.openurl", QoS::USER_INITIATED);
  queue.async(work);
}

}  // namespace corvane
