#include "corvane/linux/helper/service/Operations.h"

#include <syslog.h>

#include <utility>

#include "corvane/linux/helper/HelperNames.h"
#include "corvane/linux/helper/service/BusNames.h"
#include "corvane/linux/helper/service/HelperImage.h"
#include "corvane/linux/helper/service/HelperStore.h"

namespace corvane {

namespace {

void note(const std::string& text) {
  syslog(LOG_NOTICE, "%s", text.c_str());
}

std::string forUser(const ServiceCaller& caller) {
  return " for user " + std::to_string(caller.user);
}

// One line; agents may take a message for markup.
std::string plainLine(const std::string& text) {
  std::string plain;
  for (const char c : text) {
    if (c == '<' || c == '>')
      plain += c == '<' ? "‹" : "›";
    else
      plain += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  }
  return plain;
}

}  // namespace

Result<std::int64_t> Operations::install(const ServiceCaller& caller, const std::string& label,
                                         FileDescriptor program) {
  const auto named = checkLabel(label);
  if (!named) return tl::unexpected(named.error());
  const auto image = HelperImage::take(std::move(program));
  if (!image) return tl::unexpected(image.error());
  const auto info = image->inspect(label);
  if (!info) return tl::unexpected(info.error());
  auto allowed = mayInstall(label, *info);  // before a person is asked in vain
  if (!allowed) return tl::unexpected(allowed.error());

  const std::string version = std::to_string(info->version);
  const auto granted = ask(caller, {{"label", label},
                                    {"version", version},
                                    {"sha256", image->sha256()},
                                    {"polkit.message",
                                     "Install the helper $(label), version $(version), which will run with all rights "
                                     "of an administrator? SHA-256: $(sha256)"}});
  if (!granted) return tl::unexpected(granted.error());

  allowed = mayInstall(label, *info);
  if (!allowed) return tl::unexpected(allowed.error());
  const auto replaced = HelperStore::install(label, *info, *image);
  if (!replaced) return tl::unexpected(replaced.error());
  note("installed " + label + ", version " + version + ", SHA-256 " + image->sha256() + "," + forUser(caller));
  const auto applied = applyChange(m_bus, label, *replaced ? &**replaced : nullptr);
  if (!applied) note(label + ": " + applied.error().description);
  return info->version;
}

Result<void> Operations::remove(const ServiceCaller& caller, const std::string& label) {
  const auto named = checkLabel(label);
  if (!named) return named;
  const auto known = HelperStore::knows(label);
  if (!known) return tl::unexpected(known.error());
  if (!*known) return failure("helper", 0, "The helper " + label + " is not installed");
  const auto granted = ask(caller, {{"label", label}, {"polkit.message", "Remove the helper $(label)?"}});
  if (!granted) return granted;
  const auto removed = HelperStore::remove(label);
  if (!removed) return tl::unexpected(removed.error());
  note("removed " + label + forUser(caller));
  return applyChange(m_bus, label, *removed ? &**removed : nullptr);
}

Result<void> Operations::authorise(const ServiceCaller& caller, const std::string& right, const std::string& prompt) {
  const std::string message = plainLine(prompt);
  if (right.empty() || !checkShown(right) || !checkShown(message))
    return failure("helper", 0, "The right or the prompt is too long or cannot be shown");
  if (right == helper_names::INSTALL_ACTION)
    return ask(caller, {{"polkit.message", message + " (An application wants to install a helper, which will run "
                                                     "with all rights of an administrator.)"}});
  const auto declared = m_polkit.isDeclared(right);
  if (!declared) return tl::unexpected(declared.error());
  if (*declared) return failure("helper", 0, "polkit knows this right: ask there");
  return m_polkit.check(PolkitQuestion::generic(PolkitSubject::connection(caller.name), right, message, caller.mayAsk));
}

Result<void> Operations::mayInstall(const std::string& label, const HelperInfo& info) {
  const auto unclaimed = checkUnclaimed(m_bus, label);
  if (!unclaimed) return unclaimed;
  for (const auto& [action, description] : info.actions) {
    const auto declared = m_polkit.isDeclared(action);
    if (!declared) return tl::unexpected(declared.error());
    if (*declared && !HelperStore::declares(label, action))
      return failure("helper", 0, "It declares an action of another program: " + action);
  }
  return HelperStore::check(label, info);
}

// Asks for the right to change helpers. The answer counts only while the caller is there.
Result<void> Operations::ask(const ServiceCaller& caller, std::map<std::string, std::string> details) {
  auto granted = m_polkit.check({.subject = PolkitSubject::connection(caller.name),
                                 .action = helper_names::INSTALL_ACTION,
                                 .details = std::move(details),
                                 .mayAsk = caller.mayAsk});
  if (granted && !isConnected(m_bus, caller.name)) return failure("helper", 0, "The caller has left");
  return granted;
}

}  // namespace corvane
