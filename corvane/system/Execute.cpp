#include "corvane/system/Execute.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "corvane/core/DispatchQueueSerial.h"
#include "corvane/core/Log.h"
#include "corvane/core/Text.h"
#include "corvane/infra/Bundle.h"
#include "corvane/platform/Platform.h"
#include "corvane/system/TryCatch.h"

namespace corvane {

namespace {

constexpr char SHELL[] = "/bin/sh";

std::string decoded(const std::string& path, std::string output) {
  if (isUtf8(output)) return output;
  return platform().localization().text("Cannot decode output from:") + " " + path;
}

struct Outcome {
  std::int32_t status;
  std::string output;
};

Task::Settings settingsOf(const std::string& path, const Execute::Arguments& args, const Execute::Options& options) {
  return {.executable = path,
          .arguments = args,
          .environment = options.environment,
          .folder = options.folder,
          .input = options.input ? Task::Stream::text(*options.input) : Task::Stream::inherited(),
          .limit = options.limit};
}

void logLimit(const Task& task) {
  if (task.exceededLimit()) logNotice("Execute: the time limit of " + task.executable() + " is over");
}

Result<Outcome> run(const std::string& path, const Execute::Arguments& args, const Execute::Options& options,
                    Task::Stream error) {
  std::string output;
  Task::Settings settings = settingsOf(path, args, options);
  settings.output = Task::Stream::read([&output](Task&, std::string_view bytes) { output.append(bytes); });
  settings.error = std::move(error);
  settings.sharesGroup = !options.limit;  // which kills the whole group
  const auto task = Task::create(std::move(settings));
  if (auto ran = task->run(); !ran) return tl::unexpected(ran.error());
  logLimit(*task);
  return Outcome{task->terminationStatus().value_or(-1), std::move(output)};
}

std::shared_ptr<Task> launched(std::shared_ptr<Task> task) {
  if (const auto result = task->launch(); !result) {
    logNotice("Exception caught running " + task->executable() + ": " + result.error().description);
    return nullptr;
  }
  return task;
}

// A task that takes input and streams its output to `take`, with an empty piece at the end.
template <class Take>
std::shared_ptr<Task> streaming(const std::string& path, QoS qos, const Execute::Arguments& args,
                                const std::optional<Execute::Environment>& env, Take take) {
  return launched(Task::create({.executable = path,
                                .arguments = args,
                                .environment = env,
                                .qos = qos,
                                .input = Task::Stream::written(),
                                .output = Task::Stream::read([take](Task& task, std::string_view bytes) mutable {
                                  if (bytes.empty()) Execute::closePipe(task.shared_from_this());
                                  take(bytes);
                                })}));
}

// Joins pieces into lines.
class Lines {
 public:
  explicit Lines(Execute::Reader reader) : m_reader(std::move(reader)) {}

  void operator()(std::string_view bytes) {
    if (bytes.empty()) {
      if (!m_partial.empty()) give(std::move(m_partial));
      return m_reader(std::nullopt);
    }
    for (std::size_t end = 0; (end = bytes.find('\n')) != std::string_view::npos; bytes.remove_prefix(end + 1)) {
      keep(bytes.substr(0, end));
      give(std::exchange(m_partial, {}));
    }
    keep(bytes);
  }

 private:
  void keep(std::string_view bytes) {
    m_partial.append(bytes);
    while (m_partial.size() > Execute::MAX_LINE) {
      std::size_t end = Execute::MAX_LINE;
      while (end > Execute::MAX_LINE - 4 && (m_partial[end] & 0xC0) == 0x80) --end;
      give(m_partial.substr(0, end));
      m_partial.erase(0, end);
    }
  }

  void give(std::string line) { m_reader(repaired(std::move(line))); }

  Execute::Reader m_reader;
  std::string m_partial;
};

// The command line that passes a path to a program. Quotes and other characters with a meaning to the shell remain part
// of the path.
std::string withPath(const std::string& command, const std::string& path) {
  std::string line = command + " \"";
  for (const char c : path) {
    if (std::strchr("\"$`\\", c) && c != '\0') line += '\\';
    line += c;
  }
  return line + "\"";
}

}  // namespace

std::pair<std::int32_t, std::string> Execute::syncWithStatus(const std::string& path, const Arguments& args,
                                                             const Options& options) {
  auto outcome = run(path, args, options, Task::Stream::output());
  if (outcome) return {outcome->status, decoded(path, std::move(outcome->output))};
  logNotice("Execute.sync exception: " + path + ": " + outcome.error().description);
  return {-1, ""};
}

std::string Execute::sync(const std::string& path, const Arguments& args, const Options& options) {
  return syncWithStatus(path, args, options).second;
}

std::shared_ptr<Task> Execute::async(const std::string& path, const Arguments& args, QoS qos,
                                     std::function<void(const std::string& output)> completion,
                                     const Options& options) {
  const auto output = std::make_shared<std::string>();
  Task::Settings settings = settingsOf(path, args, options);
  settings.qos = qos;
  settings.output = Task::Stream::read([output](Task&, std::string_view bytes) { output->append(bytes); });
  settings.error = Task::Stream::output();
  settings.terminationHandler = [output, completion = std::move(completion)](Task& self) {
    logLimit(self);
    if (completion) completion(decoded(self.executable(), std::move(*output)));
  };
  auto task = Task::create(std::move(settings));
  const auto start = [task](Result<void> (Task::*how)()) {
    if (const auto started = (*task.*how)(); !started)
      logNotice("Execute.async exception: " + task->executable() + ": " + started.error().description);
  };
  const bool queued = platform().serialQueues().make("org.corvane.execute", qos)->async([start] { start(&Task::run); });
  if (!queued) start(&Task::launch);  // which reports what is missing, if it still is
  return task;
}

std::shared_ptr<Task> Execute::readPipe(const std::string& path, QoS qos, const Arguments& args,
                                        const std::optional<Environment>& env, Reader reader) {
  return streaming(path, qos, args, env,
                   [reader = std::move(reader), text = std::optional<std::string>("")](std::string_view bytes) mutable {
                     if (bytes.empty()) return reader(std::nullopt);
                     if (!isUtf8(bytes)) return;
                     text->assign(bytes);  // one buffer for all pieces
                     reader(text);
                   });
}

std::shared_ptr<Task> Execute::readLines(const std::string& path, QoS qos, const Arguments& args,
                                         const std::optional<Environment>& env, Reader reader) {
  return streaming(path, qos, args, env, Lines(std::move(reader)));
}

void Execute::writeProcess(const std::shared_ptr<Task>& process, std::string_view text) {
  if (process && isUtf8(text)) process->write(text);
}

void Execute::closePipe(const std::shared_ptr<Task>& process) {
  if (!process) return;
  process->closeInput();
  process->dropOutput();
}

void Execute::relaunchTranslocated() {
  Result<void> valid;
  DispatchQueueSerial("org.corvane.codevalidity", QoS::USER_INITIATED).sync([&valid] {
    valid = platform().translocation().verifySignature();
  });
  if (!valid) {
    logNotice("The code signature is not valid: " + valid.error().description);
    std::exit(EXIT_FAILURE);
  }
  const std::string& path = Bundle::mainBundle()->path();
  const auto original = platform().translocation().originalPath(path);
  if (!original) return;
  logNotice("reopen: " + path + " as " + *original);
  syncWithStatus(SHELL, {"-c", withPath("/usr/bin/xattr -cr", *original)});
  syncWithStatus(SHELL, {"-c", withPath("/usr/bin/open -n -a", *original)});
  std::exit(EXIT_SUCCESS);
}

std::string syscmd(const std::string& command) {
  return Execute::sync(SHELL, {"-c", command});
}

std::int32_t execcmd(const std::string& command) {
  std::int32_t status = -1;
  TryCatch::tryRun(
      [&] {
        const auto outcome = run(SHELL, {"-c", command}, {}, Task::Stream::inherited());
        if (!outcome) TryCatch::throwString(outcome.error().description);
        if (isUtf8(outcome->output)) {
          const std::string text = outcome->output + "\n";
          std::fwrite(text.data(), 1, text.size(), stdout);
        }
        status = outcome->status;
      },
      [&](const Exception& exception) { logNotice("Exception caught in " + command + ": " + exception.reason()); }, {});
  return status;
}

}  // namespace corvane

char* getUnTranslocatedURL(const char* path) {
  if (!path) return nullptr;
  const auto original = corvane::platform().translocation().originalPath(path);
  return original ? ::strdup(original->c_str()) : nullptr;
}
