#include "apps/inspector/commands/Stalls.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/commands/ProgramChoice.h"
#include "apps/inspector/text/Format.h"
#include "apps/inspector/text/ProgramText.h"

namespace corvane::inspector {

namespace {

constexpr std::chrono::milliseconds INTERVAL{200};
constexpr std::int64_t LASTING = 5'000'000'000;  // ns: what goes on is told whenever so much more has passed

struct Options {
  std::string program;
  std::int64_t nsec = 100'000'000;
  std::optional<unsigned> seconds;
  bool json = false;
};

tl::expected<void, std::string> read(OptionReader& option, Options& options) {
  static constexpr std::int64_t MAX_MS = 3'600'000;
  if (option.name() == "--json") {
    options.json = true;
    return option.noValue();
  }
  if (option.name() == "--for") return option.seconds().map([&](unsigned seconds) { options.seconds = seconds; });
  if (option.name() != "--longer-than") return option.unknown();
  const auto limit = option.value().map(numberIn<std::int64_t>);
  if (!limit) return tl::unexpected(limit.error());
  if (!*limit || **limit < 1 || **limit > MAX_MS)
    return option.failure("expects a whole number of milliseconds from 1 to 3600000");
  options.nsec = **limit * 1'000'000;
  return {};
}

tl::expected<Options, std::string> parse(const Arguments& arguments) {
  Options options;
  for (OptionReader option(arguments); option.next();) {
    if (const auto operand = option.operand()) {
      if (const auto taken = takeProgram(*operand, options.program); !taken) return tl::unexpected(taken.error());
    } else if (const auto taken = read(option, options); !taken) {
      return tl::unexpected(taken.error());
    }
  }
  if (options.program.empty()) return tl::unexpected(std::string("stalls: the application is missing"));
  return options;
}

// Chooses from the spans what is news.
class News {
 public:
  explicit News(bool json) : m_json(json) {}

  std::string of(const LongSpans& spans, std::int64_t now) {
    std::string text;
    for (const ActivitySpan& span : spans.spans)
      if (span.end != 0 || isNews(span, now)) text += line(span, now);
    return text;
  }

 private:
  // What goes on comes with every look.
  bool isNews(const ActivitySpan& span, std::int64_t now) {
    if (span.start != m_start) m_told = 0;
    m_start = span.start;
    if (now - span.start < m_told + LASTING) return false;
    m_told = now - span.start;
    return true;
  }

  std::string line(const ActivitySpan& span, std::int64_t now) const {
    if (m_json) return "{" + spanMembers(span, now) + "}\n";
    const std::string subject = printable(subjectOf(span), Glyphs::ofLocale());
    const std::string start = Timeval::nsec(span.start).localtime().substr(0, 12);
    if (span.end == 0)
      return start + "        ...  " + subject + ", still running after " + decimal(secondsOf(now - span.start), 1) +
             " s\n";
    return start + alignedRight(lengthText(secondsOf(span.end - span.start)), 11) + "  " + subject + "\n";
  }

  const bool m_json;
  std::int64_t m_start = 0;  // of the latest span that goes on
  std::int64_t m_told = 0;   // how long it had taken when that was told
};

int follow(const ProgramIdentity& identity, const Options& options) {
  WatchedProgram program(identity);
  LongSpanReader reader(program.link(), options.nsec);
  News news(options.json);
  const auto begin = std::chrono::steady_clock::now();
  for (;;) {
    const auto spans = reader();
    program.tell();
    if (spans && spans->lost > 0) report("stalls: about " + std::to_string(spans->lost) + " entries were lost");
    const int error = spans ? writeOut(news.of(*spans, Timeval().nsec())) : 0;
    if (error != 0) return statusAfterOutput(error);
    if (options.seconds && std::chrono::steady_clock::now() - begin >= std::chrono::seconds(*options.seconds)) return 0;
    std::this_thread::sleep_for(INTERVAL);
  }
}

}  // namespace

int stalls(const Arguments& arguments) {
  const auto options = parse(arguments);
  if (!options) return failUsage(options.error());
  return withProgram(options->program, [&](const ProgramIdentity& program) { return follow(program, *options); });
}

}  // namespace corvane::inspector
