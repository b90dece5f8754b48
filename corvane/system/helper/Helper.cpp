#include "corvane/system/helper/helper_c.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "corvane/core/Log.h"
#include "corvane/infra/values/PropertyList.h"
#include "corvane/platform/Platform.h"
#include "corvane/system/helper/HelperVersion.h"

using corvane::Error;
using corvane::Result;

struct corvane_authorization {
  corvane::Authorization::Reference reference;
};

namespace {

std::string textOf(const char* text) {
  return text ? text : "";
}

std::optional<std::int64_t> versionOf(const Result<std::optional<std::string>>& info) {
  if (!info || !*info) return std::nullopt;
  const auto dictionary = corvane::readPropertyList(**info);
  return dictionary ? corvane::helperVersion(*dictionary) : std::nullopt;
}

// Releases the reference and says why, but not in the log, whose lines are fixed.
AuthorizationRef refused(AuthorizationRef reference, const Error& error) {
  corvane::systemLog("authorisation refused: " + error.description);
  freeAuthorisation(reference);
  return nullptr;
}

AuthorizationRef create() {
  const auto reference = corvane::platform().authorization().create();
  return reference ? new corvane_authorization{*reference} : refused(nullptr, reference.error());
}

AuthorizationRef request(AuthorizationRef reference, const std::string& right, const std::string& prompt) {
  const auto granted = corvane::platform().authorization().request(reference->reference, right, prompt);
  return granted ? reference : refused(reference, granted.error());
}

// Nothing that is printed there may look like two lines.
void print(std::string description) {
  for (char& c : description)
    if (c == '\n' || c == '\r') c = ' ';
  std::puts(description.c_str());
}

using Change = Result<void> (corvane::HelperInstaller::*)(const std::string& label,
                                                          corvane::Authorization::Reference reference);

// Installs or removes a helper with an administrator's permission, and logs the outcome.
bool perform(Change change, const std::string& label, const std::string& what) {
  const AuthorizationRef authorization = authorisehelper(nullptr);
  if (!authorization) {
    corvane::logLine("AuthorizationCopyRights has failed.");
    corvane::logLine(what + ": FAIL");
    return false;
  }
  const auto done = (corvane::platform().helperInstaller().*change)(label, authorization->reference);
  if (!done) print(done.error().description);
  corvane::logLine(what + (done ? ": OK" : ": FAIL"));
  freeAuthorisation(authorization);
  return done.has_value();
}

}  // namespace

bool HelperIsInstalled(const char* label) {
  corvane::HelperInstaller& installer = corvane::platform().helperInstaller();
  const auto installed = versionOf(installer.installedInfo(textOf(label)));
  if (!installed) return false;
  const auto bundled = versionOf(installer.bundledInfo(textOf(label)));
  return bundled && *installed >= *bundled;
}

bool BlessHelper(const char* label) {
  return HelperIsInstalled(label) ||
         perform(&corvane::HelperInstaller::install, textOf(label), "SMJobBless install helper");
}

bool RemoveHelper(const char* label) {
  return perform(&corvane::HelperInstaller::remove, textOf(label), "Remove helper");
}

AuthorizationRef authorisehelper(const char* prompt) {
  const AuthorizationRef reference = create();
  return reference ? request(reference, corvane::platform().helperInstaller().installRight(), textOf(prompt)) : nullptr;
}

AuthorizationRef checkAuthorised(AuthorizationRef reference, const char* right, const char* prompt) {
  if (!reference) reference = create();
  if (!reference) return nullptr;
  corvane::Authorization& authorization = corvane::platform().authorization();
  const auto known = authorization.isDefined(textOf(right));
  if (!known) return refused(reference, known.error());
  if (!*known) {
    const auto defined = authorization.define(textOf(right), textOf(prompt));
    if (!defined) return refused(reference, defined.error());
  }
  return request(reference, textOf(right), "");
}

void freeAuthorisation(AuthorizationRef reference) {
  if (!reference) return;
  corvane::platform().authorization().release(reference->reference);
  delete reference;
}
