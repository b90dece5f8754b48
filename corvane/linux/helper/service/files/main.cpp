#include <cstdio>
#include <string>

#include "corvane/core/Files.h"
#include "corvane/linux/desktop/EmbeddedInfo.h"
#include "corvane/linux/helper/service/HelperFiles.h"

namespace corvane {
namespace {

Result<void> write(const std::string& program, const std::string& label, const std::string& folder) {
  if (const auto valid = checkLabel(label); !valid) return valid;
  const auto file = openForReading(program);
  if (!file) return tl::unexpected(file.error());
  const auto dictionary = embeddedInfo(file->get());
  if (!dictionary) return tl::unexpected(dictionary.error());
  if (!*dictionary) return failure("helper", 0, "It has no information dictionary");
  const auto info = helperInfo(**dictionary, label);
  if (!info) return tl::unexpected(info.error());
  const auto made = makeFolders(folder);
  if (!made) return tl::unexpected(made.error());
  const std::string path = *made + "/" + label;
  const std::pair<const char*, std::string> files[] = {
      {".service", busServiceFile(label)}, {".conf", busPolicyFile(label)}, {".policy", actionsFile(info->actions)}};
  for (const auto& [ending, content] : files)
    if (const auto written = replaceFile(path + ending, content); !written) return written;
  return {};
}

}  // namespace
}  // namespace corvane

// corvane-helper-files PROGRAM LABEL FOLDER: checks a built helper as the service that installs helpers does, and
// writes the files that this service would write, LABEL.service, LABEL.conf and LABEL.policy, into the folder.
int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("usage: corvane-helper-files PROGRAM LABEL FOLDER\n", stderr);
    return 2;
  }
  const auto written = corvane::write(argv[1], argv[2], argv[3]);
  if (written) return 0;
  std::fprintf(stderr, "%s cannot be a helper: %s\n", argv[1], written.error().description.c_str());
  return 1;
}
