#include "corvane/infra/LaunchAtLogin.h"

#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "corvane/core/Log.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/Path.h"
#include "corvane/infra/values/PropertyList.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

std::string labelOf(const std::string& identifier) {
  return identifier + ".launchAtLogin";
}

std::optional<std::string> agentFile(const std::string& identifier) {
  const auto folder = Path::launchAgentPath();
  return folder ? std::optional(*folder + "/" + labelOf(identifier) + ".plist") : std::nullopt;
}

void report(const Result<void>& outcome) {
  if (!outcome) logNotice("LaunchAtLogin: " + outcome.error().description);
}

}  // namespace

void LaunchAtLogin::writePlist() {
  const std::string identifier = Bundle::mainBundle()->requiredIdentifier("LaunchAtLogin");
  const auto file = agentFile(identifier);
  if (!file) return;
  const Value agent = Value::Dictionary{{"Label", labelOf(identifier)},
                                        {"RunAtLoad", true},
                                        {"ProgramArguments", Value::Array{"open", "-b", identifier}}};
  if (!writePropertyListFile(agent, *file, PropertyListFormat::XML)) return;
  const auto bundle = Bundle::mainBundle();
  const auto name = bundle->bundleName();
  report(platform().loginItems().add({.label = labelOf(identifier),
                                      .identifier = identifier,
                                      .name = name && !name->empty() ? *name : identifier,
                                      .executable = bundle->executablePath()}));
}

bool LaunchAtLogin::agentIsValid() const {
  const auto file = agentFile(Bundle::mainBundle()->requiredIdentifier("LaunchAtLogin"));
  struct stat status {};
  return file && ::stat(file->c_str(), &status) == 0 && status.st_size > 0;
}

void LaunchAtLogin::unlinkAgent() {
  const auto identifier = Bundle::mainBundle()->identifier();
  const auto file = identifier ? agentFile(*identifier) : std::nullopt;
  if (!file) return;
  ::unlink(file->c_str());
  report(platform().loginItems().remove(labelOf(*identifier)));
}

}  // namespace corvane
