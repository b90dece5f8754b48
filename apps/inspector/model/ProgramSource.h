#pragma once

#include <memory>
#include <string>
#include <utility>

#include "apps/inspector/model/ProgramLink.h"
#include "apps/inspector/model/Source.h"
#include "corvane/core/DispatchQueueSerial.h"

namespace corvane::inspector {

/// What every program is asked for in the same way: through a link, on a queue of its own.
class ProgramSource : public Source {
 public:
  std::shared_ptr<void> followLog(std::size_t limit, LogTaker taker) override;
  std::shared_ptr<void> followQueues(QueueTaker taker) override;
  std::shared_ptr<void> watch() override;
  std::shared_ptr<void> takeRecording(double seconds, RecordingTaker taker) override;
  std::shared_ptr<void> followLongSpans(std::int64_t nsec, SpanTaker taker) override;

 protected:
  static std::string domainOf(const ProgramIdentity& program);
  static LogFigures figuresOf(LogState state);

  explicit ProgramSource(std::shared_ptr<ProgramLink> link) : m_link(std::move(link)) {}

  /// Used on the queue only.
  const std::shared_ptr<ProgramLink>& link() const { return m_link; }
  const std::shared_ptr<DispatchQueueSerial>& queue() const { return m_queue; }

 private:
  const std::shared_ptr<ProgramLink> m_link;
  const std::shared_ptr<DispatchQueueSerial> m_queue =
      std::make_shared<DispatchQueueSerial>("program figures", QoS::USER_INITIATED);
};

}  // namespace corvane::inspector
