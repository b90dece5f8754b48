#include "corvane/system/RuntimeRequirement.h"

#include <errno.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

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
  // Also for who started the program in a terminal, and if the window could not be shown after all.
  systemLog(texts.text + (canDownload ? " (" + requirement.download + ")" : ""));
  const auto answer = platform().alerts().ask({.title = application,
                                               .text = texts.text,
                                               .accept = canDownload ? texts.download : texts.quit,
                                               .decline = canDownload ? texts.quit : "",
                                               .limit = limit});
  if (!answer || *answer != AlertAnswer::ACCEPTED || !canDownload) return RuntimeChoice::QUIT;
  if (const auto opened = platform().workspace().open(requirement.download); !opened)
    systemLog(opened.error().description);
  return RuntimeChoice::DOWNLOAD;
}

int launchProgram(const std::string& application, char* const* arguments) {
  const std::filesystem::path launcher = Bundle::mainBundle()->executablePath();
  const std::filesystem::path folder = launcher.parent_path();
  for (const auto& place : {folder.parent_path(), folder}) {
    const std::filesystem::path program = place / "libexec" / launcher.filename();
    execv(program.c_str(), arguments);
    if (errno == ENOENT) continue;
    systemLog(application + ": " + program.string() + ": " + std::strerror(errno));
    return 127;
  }
  systemLog(application + ": its program is not in the folder libexec");
  return 127;
}

}  // namespace corvane
