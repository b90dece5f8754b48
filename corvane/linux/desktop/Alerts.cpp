#include "corvane/platform/Alerts.h"

#include <fcntl.h>
#include <glib.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/linux/Deadline.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

bool listens(const std::string& path) {
  sockaddr_un address = {};
  if (path.size() >= sizeof address.sun_path) return false;
  address.sun_family = AF_UNIX;
  std::ranges::copy(path, address.sun_path);
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  return connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 || errno == EAGAIN;
}

// "host:12.0" is on another machine, which is not tried.
bool hasX11() {
  const std::string display = environment("DISPLAY");
  const auto colon = display.rfind(':');
  if (colon == display.npos) return false;
  const std::string host = display.substr(0, colon), number = display.substr(colon + 1);
  if (!host.empty() && host != "unix") return true;
  return listens("/tmp/.X11-unix/X" + number.substr(0, number.find('.')));
}

bool hasWayland() {
  const std::string display = environment("WAYLAND_DISPLAY");
  if (display.empty()) return false;
  return listens(display.front() == '/' ? display : environment("XDG_RUNTIME_DIR") + '/' + display);
}

// A program that can ask. Other statuses than these two mean that it could not.
struct Tool {
  const char* name;
  bool needsX11;
  std::vector<std::string> (*arguments)(const AlertQuestion& question);
  int accepted;
  std::vector<int> declined;  // also when the window was closed
};

std::vector<std::string> zenityArguments(const AlertQuestion& question) {
  std::vector<std::string> arguments = {"--no-markup", "--title=" + question.title, "--text=" + question.text,
                                        "--ok-label=" + question.accept};
  if (question.decline.empty()) {
    arguments.emplace_back("--info");
  } else {
    arguments.emplace_back("--question");
    arguments.push_back("--cancel-label=" + question.decline);
  }
  return arguments;
}

std::vector<std::string> kdialogArguments(const AlertQuestion& question) {
  std::vector<std::string> arguments = {"--title", question.title};
  if (question.decline.empty())
    arguments.insert(arguments.end(), {"--ok-label", question.accept, "--sorry", question.text});
  else
    arguments.insert(arguments.end(),
                     {"--yes-label", question.accept, "--no-label", question.decline, "--yesno", question.text});
  return arguments;
}

// In lines that xmessage, which wraps none, shows whole.
std::string inLines(std::string text) {
  constexpr std::size_t WIDTH = 60;
  for (std::size_t begin = 0; begin + WIDTH < text.size();) {
    const std::size_t space = text.rfind(' ', begin + WIDTH);
    if (space == text.npos || space < begin) break;
    text[space] = '\n';
    begin = space + 1;
  }
  return text;
}

std::vector<std::string> xmessageArguments(const AlertQuestion& question) {
  // Commas separate its labels, and colons end them.
  const auto label = [](std::string text) {
    std::erase_if(text, [](char c) { return c == ',' || c == ':'; });
    return text;
  };
  const std::string other = question.decline.empty() ? "" : "," + label(question.decline) + ":102";
  return {"-title",
          question.title,
          "-center",
          "-default",
          label(question.accept),
          "-buttons",
          label(question.accept) + ":101" + other,
          inLines(question.text)};
}

const Tool ZENITY = {"zenity", false, zenityArguments, 0, {1}};
const Tool KDIALOG = {"kdialog", false, kdialogArguments, 0, {1, 2}};
const Tool XMESSAGE = {"xmessage", true, xmessageArguments, 101, {102, 1}};

class LinuxAlerts : public Alerts {
 public:
  Result<AlertAnswer> ask(const AlertQuestion& question) override {
    const bool isX11 = hasX11();
    if (!isX11 && !hasWayland()) return failure("alerts", 0, "There is no display");
    const Deadline deadline{
        std::chrono::milliseconds(static_cast<std::int64_t>(std::clamp(question.limit, 0.0, 1e6) * 1000))};
    const std::string desktop = environment("XDG_CURRENT_DESKTOP");
    const bool isQt = desktop.find("KDE") != desktop.npos || desktop.find("LXQt") != desktop.npos;
    for (const Tool* const tool : {isQt ? &KDIALOG : &ZENITY, isQt ? &ZENITY : &KDIALOG, &XMESSAGE}) {
      if (tool->needsX11 && !isX11) continue;
      if (const auto answer = askWith(*tool, question, deadline)) return *answer;
    }
    return failure("alerts", 0, "No program that asks works here: zenity, kdialog, xmessage");
  }

 private:
  static std::optional<AlertAnswer> askWith(const Tool& tool, const AlertQuestion& question, const Deadline& deadline) {
    const glib::Ptr<gchar> path(g_find_program_in_path(tool.name));
    const auto nothing = openFile("/dev/null", O_RDWR);
    if (!path || !nothing) return std::nullopt;
    ChildSettings settings;
    settings.executable = path.get();
    settings.arguments = tool.arguments(question);
    settings.arguments.insert(settings.arguments.begin(), tool.name);
    settings.streams = {nothing->get(), nothing->get(), nothing->get()};
    const auto child = platform().childProcesses().spawn(settings);
    if (!child) return std::nullopt;
    pollfd end = {(*child)->descriptor(), POLLIN, 0};
    const bool hasEnded = uninterrupted([&] { return poll(&end, 1, deadline.msec()); }) > 0;
    if (!hasEnded) kill(-(*child)->number(), SIGKILL);
    const auto exit = (*child)->take();
    if (!hasEnded) return AlertAnswer::NONE;
    if (!exit || exit->killed) return std::nullopt;
    if (exit->status == tool.accepted) return AlertAnswer::ACCEPTED;
    const bool isDeclined = std::ranges::find(tool.declined, exit->status) != tool.declined.end();
    return isDeclined ? std::optional(AlertAnswer::DECLINED) : std::nullopt;
  }
};

}  // namespace

template <>
std::shared_ptr<Alerts> makeService<Alerts>() {
  return std::make_shared<LinuxAlerts>();
}

}  // namespace corvane
