// org.example.Backup.helper: measures folders that their owner keeps private. It runs as root when backup calls it.

#include <filesystem>

#include "corvane/system/helper/HelperServer.h"

using corvane::HelperServer;
using corvane::Message;
using corvane::MessageCaller;
using corvane::MessageError;
namespace fs = std::filesystem;

static Message measure(const Message& request, const MessageCaller&) {
  const std::string* folder = request.find("measure")->asString();
  if (!folder || !folder->starts_with('/')) return MessageError{.name = {}, .description = "Not a path"};
  std::error_code error;
  std::int64_t bytes = 0;
  for (fs::recursive_directory_iterator each(*folder, error), end; !error && each != end; each.increment(error)) {
    std::error_code gone;
    if (each->is_regular_file(gone) && !each->is_symlink(gone))
      bytes += static_cast<std::int64_t>(each->file_size(gone));
  }
  if (error) return MessageError{.name = {}, .description = *folder + ": " + error.message()};
  return Message::Dictionary{{"bytes", bytes}};
}

int main() {
  const std::string label = "org.example.Backup.helper";
  HelperServer server(label);
  server.handle("measure", label + ".measure", measure, HelperServer::Ask::ONCE_PER_CONNECTION);
  server.handle("version", "", [](const Message&, const MessageCaller& caller) -> Message {
    return Message::Dictionary{{"version", "1"}, {"you are", caller.executable}};
  });
  server.stopOn("stop", "");
  return server.run();
}
