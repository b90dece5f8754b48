// The Inspector's privileged helper: tells what the processes of all users use, and does nothing else.
#include "apps/inspector/model/ProcessFigures.h"
#include "corvane/system/helper/HelperServer.h"

int main() {
  using namespace corvane;
  HelperServer server(inspector::HELPER_LABEL);
  server.handle(
      inspector::FIGURES, inspector::FIGURES_RIGHT,
      [](const Message&, const MessageCaller&) { return inspector::readFigures(); },
      HelperServer::Ask::ONCE_PER_CONNECTION);
  return server.run();
}
