#include "corvane/ui/OpenURL.h"

#include <utility>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Log.h"
#include "corvane/core/MainQueue.h"
#include "corvane/platform/Platform.h"

namespace corvane {

// Asks another process, so not on the main thread.
void openURL(const QUrl& url, std::string who, std::function<void(const QString& reason)> failed) {
  const auto work = [address = url.toEncoded().toStdString(), who = std::move(who), failed = std::move(failed),
                     &workspace = platform().workspace()] {
    const auto opened = workspace.open(address);
    if (opened) return;
    logNotice(who + ": " + opened.error().description);
    if (failed) main_post([failed, reason = QString::fromStdString(opened.error().description)] { failed(reason); });
  };
  static auto& queue = *new DispatchQueueSerial("org.corvane.openurl", QoS::USER_INITIATED);
  queue.async(work);
}

}  // namespace corvane
