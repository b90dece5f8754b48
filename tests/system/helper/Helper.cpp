// The helper that the tests attack. It notes each request that reaches a handler.
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "corvane/system/helper/HelperServer.h"

using corvane::HelperServer;
using corvane::Message;
using corvane::MessageCaller;

int main() {
  const std::string label = "org.example.Helper";
  HelperServer server(label, 1);
  using Work = std::function<Message(const Message& request, const MessageCaller& caller)>;
  const auto handle = [&](const std::string& key, const std::string& right, Work work,
                          HelperServer::Ask ask = HelperServer::Ask::EACH_REQUEST) {
    const auto noted = [key, work](const Message& request, const MessageCaller& caller) {
      std::ofstream("/run/reached", std::ios::app) << key << std::endl;
      return work(request, caller);
    };
    server.handle(key, right, noted, ask);
  };
  const Work echo = [](const Message& request, const MessageCaller&) { return request; };
  handle("echo", "", echo);
  for (const char* key : {"each", "kept", "allowed", "denied", "undeclared"}) handle(key, label + "." + key, echo);
  handle("once", label + ".once", echo, HelperServer::Ask::ONCE_PER_CONNECTION);
  server.handle("caller", "", [](const Message&, const MessageCaller& caller) -> Message {
    return Message::Dictionary{{"uid", caller.uid}, {"executable", caller.executable}};
  });
  handle("throw", "", [](auto&, auto&) -> Message { throw std::runtime_error("a secret\nof root"); });
  handle("flood", "", [](auto&, auto&) -> Message {
    return Message::Dictionary{{"flood", corvane::Data{std::vector<std::uint8_t>(40 << 20)}}};
  });
  handle("crash", "", [](auto&, auto&) -> Message { std::abort(); });
  handle("hang", "", [](auto&, auto&) -> Message {
    for (;;) pause();
  });
  server.stopOn("stop", "");
  server.stopOn("stop_as_root", label + ".each");
  return server.run();
}
