#include "apps/inspector/commands/Picture.h"

#include <csignal>

#include "apps/common/Output.h"
#include "apps/inspector/model/TextFile.h"

namespace corvane::inspector {

int writePicture(const std::string& file, std::string_view svg) {
  if (file == "-") {
    std::signal(SIGPIPE, SIG_IGN);
    return statusAfterOutput(writeOut(svg));
  }
  const auto written = writeText(file, svg);
  return written ? 0 : fail(written.error().description);
}

}  // namespace corvane::inspector
