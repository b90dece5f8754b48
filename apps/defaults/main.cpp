#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "apps/common/Command.h"
#include "apps/common/Output.h"
#include "apps/defaults/ValueArguments.h"
#include "apps/defaults/ValueText.h"
#include "corvane/core/Files.h"
#include "corvane/core/Log.h"
#include "corvane/core/Text.h"
#include "corvane/infra/settings/UserDefaults.h"
#include "corvane/infra/values/PropertyList.h"

namespace corvane::defaults {

namespace {

// How a command failed: status 2 for wrong usage, otherwise 1.
struct Failure {
  int status;
  std::string text;
};
using Outcome = tl::expected<void, Failure>;

tl::unexpected<Failure> wrongUse(std::string text) {
  return tl::unexpected(Failure{2, std::move(text)});
}
tl::unexpected<Failure> failed(std::string text) {
  return tl::unexpected(Failure{1, std::move(text)});
}

std::string domainName(std::string_view argument) {
  return std::string(argument == "-g" || argument == "--global" ? UserDefaults::GLOBAL_DOMAIN : argument);
}

// The lines that the library would write to a log.
std::vector<std::string>& notices() {
  static std::vector<std::string> lines;
  return lines;
}

constexpr LogSink SINK = {[](std::string_view line) { notices().emplace_back(line); }, [] { return true; }};

void print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

// A domain, which must exist, and its content.
struct Existing {
  UserDefaults defaults;
  Value::Dictionary content;

  explicit Existing(const std::string& name) : defaults(name) {}

  static tl::expected<std::unique_ptr<Existing>, Failure> open(std::string_view argument) {
    const std::string name = domainName(argument);
    const auto names = UserDefaults::domains();
    if (!names) return failed(names.error().description);
    const auto missing = [&] { return failed("there is no domain " + name); };
    if (std::find(names->begin(), names->end(), name) == names->end()) return missing();
    auto domain = std::make_unique<Existing>(name);
    auto content = domain->defaults.domainDictionary();
    if (!content) return failed(content.error().description);
    if (content->empty()) return missing();
    domain->content = std::move(*content);
    return domain;
  }

  tl::expected<const Value*, Failure> at(std::string_view key) const {
    const auto found = content.find(key);
    if (found == content.end()) return failed(defaults.domain() + " has no key " + std::string(key));
    return &found->second;
  }
};

Outcome stored(const Result<void>& result) {
  if (!result) return failed(result.error().description);
  return {};
}

// Calls `use` with each domain that has settings. A domain that cannot be read does not hide the others.
Outcome forEachDomain(const std::function<void(const std::string&, const Value::Dictionary&)>& use) {
  const auto names = UserDefaults::domains();
  if (!names) return failed(names.error().description);
  Outcome outcome;
  for (const std::string& name : *names) {
    const auto content = UserDefaults(name).domainDictionary();
    if (!content) outcome = failed(content.error().description);
    if (content && !content->empty()) use(name, *content);
  }
  return outcome;
}

Outcome read(const Arguments& arguments) {
  if (arguments.empty())
    return forEachDomain(
        [](const std::string& name, const Value::Dictionary& content) { print(entryText(name, content) + '\n'); });
  const auto domain = Existing::open(arguments[0]);
  if (!domain) return tl::unexpected(domain.error());
  if (arguments.size() == 1) {
    for (const auto& [key, value] : (*domain)->content) print(entryText(key, value) + '\n');
    return {};
  }
  return (*domain)->at(arguments[1]).map([](const Value* value) { print(textOf(*value) + '\n'); });
}

Outcome write(const Arguments& arguments) {
  auto value = valueOf({arguments.begin() + 2, arguments.end()});
  if (!value) return wrongUse(value.error());
  return stored(UserDefaults(domainName(arguments[0])).set(arguments[1], std::move(*value)));
}

Outcome remove(const Arguments& arguments) {
  const auto domain = Existing::open(arguments[0]);
  if (!domain) return tl::unexpected(domain.error());
  std::vector<UserDefaults::Change> changes;
  if (arguments.size() > 1) {
    if (const auto found = (*domain)->at(arguments[1]); !found) return tl::unexpected(found.error());
    changes.push_back({std::string(arguments[1]), std::nullopt});
  } else {
    for (const auto& [key, value] : (*domain)->content) changes.push_back({key, std::nullopt});
  }
  return stored((*domain)->defaults.apply(changes));
}

Outcome rename(const Arguments& arguments) {
  const auto domain = Existing::open(arguments[0]);
  if (!domain) return tl::unexpected(domain.error());
  const auto value = (*domain)->at(arguments[1]);
  if (!value) return tl::unexpected(value.error());
  const std::string name(arguments[2]);
  if ((*domain)->content.contains(name))
    return failed((*domain)->defaults.domain() + " has a key " + name + " already");
  return stored((*domain)->defaults.apply({{name, **value}, {std::string(arguments[1]), std::nullopt}}));
}

Outcome domains(const Arguments&) {
  return forEachDomain([](const std::string& name, const Value::Dictionary&) { print(name + '\n'); });
}

Outcome keys(const Arguments& arguments) {
  const auto domain = Existing::open(arguments[0]);
  if (!domain) return tl::unexpected(domain.error());
  for (const auto& [key, value] : (*domain)->content) print(key + '\n');
  return {};
}

Outcome find(const Arguments& arguments) {
  const std::string text(arguments[0]);
  bool found = false;
  const auto outcome = forEachDomain([&](const std::string& name, const Value::Dictionary& content) {
    for (const auto& [key, value] : content) {
      if (!containsIgnoringCase(key, text) && !containsIgnoringCase(textOf(value), text)) continue;
      print(name + ": " + entryText(key, value) + '\n');
      found = true;
    }
  });
  if (!outcome) return outcome;
  if (!found) return failed("no setting contains " + text);
  return {};
}

// Writes to a path: replaces a regular file, even through a link; writes into anything else.
Result<void> writeTo(const std::string& path, const Value& list, PropertyListFormat format) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_status there = fs::status(path, error);
  if (!fs::exists(there)) return writePropertyListFile(list, path, format);
  if (fs::is_regular_file(there)) {
    const fs::path file = fs::is_symlink(path, error) ? fs::canonical(path, error) : fs::path(path);
    if (!error) return writePropertyListFile(list, file, format);  // otherwise the file no longer has a name
  }
  const auto bytes = writePropertyList(list, format);
  if (!bytes) return tl::unexpected<Error>(bytes.error());
  const FileDescriptor file(uninterrupted([&path] { return ::open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC); }));
  if (file.get() < 0 || !writeAll(file.get(), *bytes)) return fileFailure(path, errno);
  return {};
}

Outcome exportDomain(const Arguments& arguments) {
  Arguments rest = arguments;
  const auto format = std::erase(rest, "--binary") > 0 ? PropertyListFormat::BINARY : PropertyListFormat::XML;
  if (rest.empty() || rest.size() > 2) return wrongUse("too few or too many arguments");
  const auto domain = Existing::open(rest[0]);
  if (!domain) return tl::unexpected(domain.error());
  const Value list((*domain)->content);
  if (rest.size() == 2 && rest[1] != "-") return stored(writeTo(std::string(rest[1]), list, format));
  const auto bytes = writePropertyList(list, format);
  if (!bytes) return failed(bytes.error().description);
  print(*bytes);
  return {};
}

// Reads a property list from whatever is at a path, or from standard input if the path is "-".
Result<Value> readFrom(const std::string& path) {
  const std::string name = path == "-" ? "standard input" : path;
  const auto named = [&name](Error error) {
    error.description.insert(0, name + ": ");
    return error;
  };
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(path == "-" ? stdin : std::fopen(path.c_str(), "rbe"),
                                                             std::fclose);
  if (!file) return fileFailure(name, errno);
  const PropertyListLimits limits;
  std::string bytes;
  char buffer[65536];
  while (bytes.size() <= limits.maxBytes) {
    const std::size_t size = std::fread(buffer, 1, sizeof buffer, file.get());
    if (size == 0) break;
    bytes.append(buffer, size);
  }
  if (std::ferror(file.get()) != 0) return fileFailure(name, errno);
  return readPropertyList(bytes, limits).map_error(named);
}

Outcome importDomain(const Arguments& arguments) {
  const std::string path(arguments.size() == 2 ? arguments[1] : "-");
  const auto list = readFrom(path);
  if (!list) return failed(list.error().description);
  const auto* dictionary = list->asDictionary();
  if (!dictionary) return failed((path == "-" ? "standard input" : path) + ": not a dictionary");
  std::vector<UserDefaults::Change> changes;
  for (const auto& [key, value] : *dictionary) changes.push_back({key, value});
  return stored(UserDefaults(domainName(arguments[0])).apply(changes));
}

int finish(Outcome outcome) {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
    outcome = failed(std::string("cannot write the output: ") + std::strerror(errno));
  for (const std::string& line : notices())
    if (outcome || line.find(outcome.error().text) == std::string::npos) report(line);
  if (outcome) return 0;
  return outcome.error().status == 2 ? failUsage(outcome.error().text) : fail(outcome.error().text);
}

// Runs a command that takes from LEAST to MOST operands. "--" before them means that the first one is not an option.
template <Outcome (*COMMAND)(const Arguments& arguments), std::size_t LEAST, std::size_t MOST>
int run(const Arguments& arguments) {
  Arguments operands = arguments;
  if (!operands.empty() && operands.front() == "--") operands.erase(operands.begin());
  if (operands.size() < LEAST || operands.size() > MOST) return failUsage("too few or too many arguments");
  return finish(COMMAND(operands));
}

constexpr Command COMMANDS[] = {
    {"read", "[DOMAIN [KEY]]", "show all domains, one, or one value",
     "A value that is asked for alone is shown as it is, without quotation marks.\n", run<read, 0, 2>},
    {"write", "DOMAIN KEY [TYPE] VALUE...", "store a value, replacing any that is there",
     "It is on disk when the command ends. The types are:\n\n"
     "  -string TEXT        text, as is a value without a type\n"
     "  -int NUMBER         a 64-bit integer\n"
     "  -float NUMBER       a number\n"
     "  -bool WORD          true, yes, 1, false, no or 0\n"
     "  -date TIME          a time in UTC, such as 2026-03-07T09:05:01Z\n"
     "  -data DIGITS        bytes, two hexadecimal digits each\n"
     "  -array VALUE...     any number of values, each of one of the types above, or text\n"
     "  -dict KEY VALUE...  any number of keys, each followed by such a value\n"
     "  -plist XML          a property list, for everything else\n"
     "  -- TEXT             a text that may look like one of these\n",
     run<write, 3, SIZE_MAX>, true},
    {"delete", "DOMAIN [KEY]", "remove a key, or all keys", "", run<remove, 1, 2>},
    {"rename", "DOMAIN KEY NEW", "give a key another name, which must not be in use", "", run<rename, 3, 3>},
    {"domains", "", "list the domains that have settings", "", run<domains, 0, 0>},
    {"keys", "DOMAIN", "list the keys of a domain", "", run<keys, 1, 1>},
    {"find", "TEXT", "show the settings whose key or value contains a text, ignoring case", "", run<find, 1, 1>},
    {"export", "[--binary] DOMAIN [FILE]", "write a domain as a property list",
     "  --binary  in binary form instead of XML\n", run<exportDomain, 1, 3>},
    {"import", "DOMAIN [FILE]", "store all keys of a property list, or none; other keys stay", "",
     run<importDomain, 1, 2>},
};

constexpr std::string_view NOTES =
    "DOMAIN is a program's identifier; -g or --global stands for the domain that all programs share.\n"
    "Without FILE, or with -, standard output and input are used.\n";

using Candidates = std::vector<Candidate>;

Candidates domainCandidates(const Arguments&) {
  Candidates candidates = {{"-g", "what all programs share"}};
  for (const std::string& name : UserDefaults::domains().value_or(std::vector<std::string>()))
    if (const auto content = UserDefaults(name).domainDictionary(); content && !content->empty())
      candidates.push_back({name});
  return candidates;
}

Candidates keyCandidates(const Arguments& operands) {
  Candidates candidates;
  const auto domain = Existing::open(operands.front());
  if (!domain) return candidates;
  for (const auto& [key, value] : (*domain)->content) candidates.push_back({key});
  return candidates;
}

constexpr std::array VALUES = {Values{"DOMAIN", domainCandidates}, Values{"KEY", keyCandidates}};

}  // namespace

}  // namespace corvane::defaults

int main(int argc, char** argv) {
  corvane::setLogSink(&corvane::defaults::SINK);
  using namespace corvane::defaults;
  return corvane::runProgram({"corvane-defaults", COMMANDS, NOTES, false, VALUES}, argc, argv);
}
