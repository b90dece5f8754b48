#include "corvane/system/RuntimeRequirement.h"

#include <dlfcn.h>
#include <errno.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <utility>

#include "corvane/core/Log.h"
#include "corvane/infra/Bundle.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

std::string text(const char* english) {
  return platform().localization().text(english);
}

// Puts values where the text says %1, %2…; values are not searched.
std::string filled(const std::string& text, const std::vector<std::string>& values) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::size_t number =
        text[i] == '%' && i + 1 < text.size() ? static_cast<std::size_t>(text[i + 1] - '1') : values.size();
    if (number < values.size()) {
      result += values[number];
      ++i;
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace

std::optional<std::string> missingLibrary(const RuntimeRequirement& requirement) {
  if (dlopen(requirement.library.c_str(), RTLD_LAZY | RTLD_LOCAL)) return std::nullopt;
  const char* const error = dlerror();
  std::string missing = libraryInError(error ? error : "");
  return missing.empty() ? requirement.library : std::move(missing);
}

std::string libraryInError(std::string_view error) {
  // The rest is in the language of the C library.
  const auto end = error.find(": ");
  return std::string(error.substr(0, end == error.npos ? 0 : end));
}

RuntimeNoticeTexts runtimeNoticeTexts(const std::string& application, const RuntimeRequirement& requirement,
                                      const std::string& missing) {
  return {
      filled(text("%1 needs a library for %2 that is not installed: %3"), {application, requirement.purpose, missing}),
      text("Download"), text("Quit"), text("Continue Without It")};
}

RuntimeChoice noticeWithoutToolkit(const std::string& application, const RuntimeRequirement& requirement,
                                   const std::string& missing, double limit) {
  const RuntimeNoticeTexts texts = runtimeNoticeTexts(application, requirement, missing);
  const bool canDownload = !requirement.download.empty();
  const auto answer = platform().alerts().ask({.title = application,
                                               .text = texts.text,
                                               .accept = canDownload ? texts.download : texts.quit,
                                               .decline = canDownload ? texts.quit : "",
                                               .limit = limit});
  if (!answer) {
    systemLog(texts.text + (canDownload ? " (" + requirement.download + ")" : ""));
    return RuntimeChoice::QUIT;
  }
  if (*answer != AlertAnswer::ACCEPTED || !canDownload) return RuntimeChoice::QUIT;
  if (const auto opened = platform().workspace().open(requirement.download); !opened)
    systemLog(opened.error().description);
  return RuntimeChoice::DOWNLOAD;
}

int launchWithRequirements(const std::string& application, const std::vector<RuntimeRequirement>& requirements,
                           char* const* arguments) {
  for (const RuntimeRequirement& requirement : requirements) {
    if (const auto missing = missingLibrary(requirement)) {
      noticeWithoutToolkit(application, requirement, *missing);
      return 1;
    }
  }
  const std::filesystem::path launcher = Bundle::mainBundle()->executablePath();
  const std::filesystem::path folder = launcher.parent_path();
  for (const auto& place : {folder.parent_path(), folder})
    execv((place / "libexec" / launcher.filename()).c_str(), arguments);
  systemLog(application + ": " + std::strerror(errno));
  return 127;
}

}  // namespace corvane
