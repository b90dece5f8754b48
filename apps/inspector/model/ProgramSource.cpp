#include "apps/inspector/model/ProgramSource.h"

#include "apps/inspector/model/Feed.h"

namespace corvane::inspector {

std::string ProgramSource::domainOf(const ProgramIdentity& program) {
  return program.identifier.empty() ? program.executable.substr(program.executable.rfind('/') + 1) : program.identifier;
}

LogFigures ProgramSource::figuresOf(LogState state) {
  return {std::move(state.path), state.size, state.archives, state.lines};
}

std::shared_ptr<void> ProgramSource::followLog(std::size_t limit, LogTaker taker) {
  struct Reader {
    std::shared_ptr<ProgramLink> link;
    std::size_t limit;
    LogPlace place = {};

    Result<LogState> operator()() {
      return link->ask([this](Inspectable& program) {
        auto state = program.log(place, limit);
        if (state) place = state->place;
        return state;
      });
    }
  };
  return std::make_shared<Feed<Result<LogState>>>("log page", Reader{m_link, limit}, std::move(taker), m_queue);
}

std::shared_ptr<void> ProgramSource::followQueues(QueueTaker taker) {
  const auto ask = [link = m_link, watch = ProgramLink::Watch()]() mutable -> Result<QueueStates> {
    if (const auto watched = link->keep(watch); !watched) return tl::unexpected(watched.error());
    return link->ask([](Inspectable& program) { return program.queues(); });
  };
  return std::make_shared<Feed<Result<QueueStates>>>("queue page", ask, std::move(taker), m_queue);
}

std::shared_ptr<void> ProgramSource::watch() {
  const auto keep = [link = m_link, watch = ProgramLink::Watch()]() mutable { return link->keep(watch); };
  return std::make_shared<Feed<Result<void>>>(
      "activity", keep, [](const Result<void>&) {}, m_queue);
}

std::shared_ptr<void> ProgramSource::takeRecording(double seconds, RecordingTaker taker) {
  const auto ask = [link = m_link, seconds] {
    return link->ask([seconds](Inspectable& program) { return program.recording(seconds); });
  };
  return askOnce<Result<Recording>>(*m_queue, ask, std::move(taker),
                                    failure("inspector", 0, "The system refuses a thread"));
}

std::shared_ptr<void> ProgramSource::followLongSpans(std::int64_t nsec, SpanTaker taker) {
  return std::make_shared<Feed<Result<LongSpans>>>("long spans", LongSpanReader(m_link, nsec), std::move(taker),
                                                   m_queue);
}

}  // namespace corvane::inspector
