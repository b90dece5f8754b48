#include "apps/inspector/commands/Helper.h"

#include <csignal>

#include "apps/common/Output.h"
#include "apps/inspector/model/ProcessFigures.h"
#include "corvane/system/helper/helper_c.h"

namespace corvane::inspector {

int helper(const Arguments& arguments) {
  const std::string_view wish = arguments.size() == 1 ? arguments.front() : "";
  if (wish != "install" && wish != "remove" && wish != "status")
    return failUsage("helper: expects install, status or remove");
  std::signal(SIGPIPE, SIG_IGN);
  if (wish == "install" && !BlessHelper(HELPER_LABEL)) return fail("helper: it could not be installed");
  if (wish == "remove" && !RemoveHelper(HELPER_LABEL)) return fail("helper: it could not be removed");
  const bool isInstalled = HelperIsInstalled(HELPER_LABEL);
  return statusAfterOutput(writeOut(isInstalled ? "The helper is installed\n" : "The helper is not installed\n"));
}

}  // namespace corvane::inspector
