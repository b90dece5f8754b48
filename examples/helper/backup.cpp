// backup: measures folders with the help of a program that may look into those of other users.

#include <cstdio>
#include <string>

#include "corvane/system/helper/XPC.h"

using corvane::Message;

int main(int count, char** arguments) {
  if (count < 2 || arguments[1] == std::string("--help")) {
    std::puts("Usage: backup FOLDER...\nMeasures folders, those of other users, too. An administrator must permit it.");
    return count < 2 ? 2 : 0;
  }
  bool failed = false;  // lives longer than the connection, as what replies use must
  const auto helper = corvane::XPC::create("org.example.Backup.helper");  // installs it if necessary
  if (!helper->isRunning()) {
    std::fputs("backup: the helper could not be installed; the log says why\n", stderr);
    return 1;
  }
  for (int i = 1; i < count; ++i) {
    const std::string folder = arguments[i];
    helper->perform([&folder](Message& request) { request.set("measure", folder); },
                    [&failed, folder](const Message& reply) {
                      if (const auto* error = reply.asError()) {
                        failed = true;
                        std::fprintf(stderr, "backup: %s\n", error->description.c_str());
                        return;
                      }
                      const auto* bytes = reply.find("bytes")->asInteger();
                      std::printf("%s: %lld bytes\n", folder.c_str(), static_cast<long long>(*bytes));
                    });
  }
  helper->stop("stop");
  return failed;
}
