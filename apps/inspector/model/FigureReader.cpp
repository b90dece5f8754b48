#include "apps/inspector/model/FigureReader.h"

#include <unistd.h>

#include "apps/inspector/model/ProcessFigures.h"
#include "corvane/core/Mutex.h"
#include "corvane/system/helper/helper_c.h"

namespace corvane::inspector {

FigureReader::FigureReader() {
  if (geteuid() == 0) return;
  if (HelperIsInstalled(HELPER_LABEL))
    m_helper = XPC::create(HELPER_LABEL);
  else
    m_refusal = {"inspector", 0, "The helper is not installed: corvane-inspector helper install"};
}

Result<void> FigureReader::addTo(std::vector<ProcessRow>& rows) {
  if (!m_refusal) {
    const auto figures = m_helper ? ask() : readFigures();
    if (figures) return addFigures(*figures, rows), Result<void>();
    m_refusal = figures.error();
  }
  return tl::unexpected(*m_refusal);
}

Result<Message> FigureReader::ask() {
  // Shared, because an answer may come after the connection has ended.
  struct Answer {
    Mutex mutex;
    std::optional<Message> reply CORVANE_GUARDED_BY(mutex);
  };
  const auto answer = std::make_shared<Answer>();
  m_helper->perform([](Message& request) { request.set(FIGURES, ""); },
                    [answer](const Message& reply) {
                      MutexLock lock(answer->mutex);
                      answer->reply = reply;
                    });
  MutexLock lock(answer->mutex);
  const MessageError* error = answer->reply ? answer->reply->asError() : nullptr;
  if (answer->reply && !error) return *answer->reply;
  return failure("inspector", 0, "The helper does not answer" + (error ? ": " + error->description : std::string()));
}

}  // namespace corvane::inspector
