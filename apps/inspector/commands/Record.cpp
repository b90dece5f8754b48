#include "apps/inspector/commands/Record.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/commands/ProgramChoice.h"
#include "apps/inspector/model/TextFile.h"
#include "apps/inspector/text/Format.h"
#include "corvane/core/Files.h"
#include "corvane/core/MainQueue.h"
#include "corvane/infra/Trace.h"
#include "corvane/platform/EndSignals.h"
#include "corvane/platform/Platform.h"

namespace corvane::inspector {

namespace {

struct Options {
  std::string program;
  std::string file;
  unsigned seconds = 10;
};

tl::expected<Options, std::string> parse(const Arguments& arguments) {
  Options options;
  for (OptionReader option(arguments); option.next();) {
    if (const auto operand = option.operand()) {
      if (const auto taken = takeProgram(*operand, options.program); !taken) return tl::unexpected(taken.error());
    } else if (option.name() == "--for") {
      const auto seconds = option.seconds();
      if (!seconds) return tl::unexpected(seconds.error());
      options.seconds = *seconds;
    } else if (option.name() == "--out") {
      const auto file = option.value();
      if (!file) return tl::unexpected(file.error());
      options.file = *file;
    } else {
      return option.unknown();
    }
  }
  if (options.program.empty()) return tl::unexpected(std::string("record: the application is missing"));
  if (options.file.empty()) return tl::unexpected(std::string("record: --out is missing"));
  return options;
}

// Until the time is over, or a signal comes.
void wait(unsigned seconds) {
  const EndSignals signals([](int) { MainLoop::quit(); });
  Delayed end = main_after(seconds, MainLoop::quit);
  MainLoop::run();
  end.cancel();
}

// The connection is this command's alone: a recording ends with the run of the program.
Result<std::string> traceOf(const ProgramIdentity& identity, unsigned seconds) {
  const auto program = platform().diagnosticsPort().connect(identity.pid);
  if (!program) return tl::unexpected(program.error());
  const auto watch = (*program)->watch();
  if (!watch) return tl::unexpected(watch.error());
  const auto begin = std::chrono::steady_clock::now();
  wait(seconds);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
  return (*program)->recording(elapsed.count()).map([&](const Recording& recording) {
    if (recording.lost > 0)
      report("record: the program does more than a recording holds; about " + std::to_string(recording.lost) +
             " of the first entries are lost");
    return traceJson(identity, recording);
  });
}

// Not standard output, nor a device or a pipe.
bool isReplaceable(const std::string& path) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  return path != "-" && (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status));
}

Result<void> finish(PendingFile& file, const std::string& path, std::string_view text) {
  if (!writeAll(file.descriptor(), text)) return fileFailure(path, errno);
  return file.replace();
}

int write(const ProgramIdentity& program, const Options& options) {
  const auto refuse = [](const Error& error) { return fail(printable(error.description, Glyphs::ofLocale())); };
  const bool isFile = isReplaceable(options.file);
  auto pending = isFile ? PendingFile::create(options.file) : failure("", 0, "");
  if (isFile && !pending) return refuse(pending.error());
  const auto trace = traceOf(program, options.seconds);
  if (!trace) return refuse(trace.error());
  if (options.file == "-") return statusAfterOutput(writeOut(*trace));
  const auto written = isFile ? finish(*pending, options.file, *trace) : writeText(options.file, *trace);
  return written ? 0 : refuse(written.error());
}

}  // namespace

int record(const Arguments& arguments) {
  const auto options = parse(arguments);
  if (!options) return failUsage(options.error());
  return withProgram(options->program, [&](const ProgramIdentity& program) { return write(program, *options); });
}

}  // namespace corvane::inspector
