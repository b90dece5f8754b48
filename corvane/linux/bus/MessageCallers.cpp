#include "corvane/linux/bus/MessageCallers.h"

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "corvane/linux/process/ProcessStart.h"

namespace corvane {

namespace {

struct Credentials {
  guint32 uid = MessageCaller::NOBODY;
  guint32 pid = 0;
  bool operator==(const Credentials&) const = default;
};

// Those of the process that connected; without a pid if it has ended and the bus knows. std::nullopt if the connection
// has ended.
std::optional<Credentials> credentialsOf(const Bus& bus, const std::string& name) {
  const auto reply =
      bus.call(busMethod("GetConnectionCredentials", "(a{sv})"), g_variant_new("(s)", name.c_str()), Deadline());
  if (!reply) return std::nullopt;
  const glib::Ptr<GVariant> all(g_variant_get_child_value(reply->values.get(), 0));
  Credentials found;
  if (!g_variant_lookup(all.get(), "UnixUserID", "u", &found.uid) || found.uid == MessageCaller::NOBODY)
    return std::nullopt;
  if (!g_variant_lookup(all.get(), "ProcessID", "u", &found.pid) || found.pid > INT_MAX) found.pid = 0;
  return found;
}

// The path of a process's program; empty if another file or none has that path here. Programs can give themselves
// private mounts, where any file may have any path, so the path alone says nothing.
std::string programOf(guint32 pid) {
  const std::string link = "/proc/" + std::to_string(pid) + "/exe";
  std::array<char, PATH_MAX> target;
  const ssize_t length = readlink(link.c_str(), target.data(), target.size());
  if (length <= 0 || static_cast<std::size_t>(length) == target.size()) return {};
  std::string path(target.data(), static_cast<std::size_t>(length));
  struct stat running {};
  struct stat named {};
  const bool same = stat(link.c_str(), &running) == 0 && lstat(path.c_str(), &named) == 0 &&
                    running.st_dev == named.st_dev && running.st_ino == named.st_ino;
  return same ? path : std::string();
}

}  // namespace

// One subscription for all, because the bus limits their number for each connection.
MessageCallers::MessageCallers(Bus& bus, std::function<void(const std::string& name)> left) : m_bus(bus) {
  m_bus.subscribe({.service = "org.freedesktop.DBus",
                   .interface = "org.freedesktop.DBus",
                   .name = "NameOwnerChanged",
                   .type = "(sss)"},
                  [this, left = std::move(left)](GVariant* arguments) {
                    const char* name = nullptr;
                    const char* owner = nullptr;
                    g_variant_get(arguments, "(&s&s&s)", &name, nullptr, &owner);
                    if (*owner == '\0' && m_known.erase(name) > 0) left(name);
                  });
}

MessageCaller MessageCallers::identify(const std::string& name) {
  const auto before = m_known.find(name);
  const auto credentials = credentialsOf(m_bus, name);
  if (!credentials) {
    MessageCaller caller = before != m_known.end() ? before->second.caller : MessageCaller();
    caller.name = name;
    caller.hasLeft = true;
    return caller;
  }
  MessageCaller caller{name, credentials->uid, static_cast<std::int32_t>(credentials->pid), {}};
  const auto started = processStart(caller.pid);
  Known& known = m_known[name];
  if (!known.started) known.started = started;
  const std::string program = programOf(credentials->pid);
  // Looked at again, lest the id has passed to another process in between.
  if (started && started == known.started && runsFor(caller.pid, caller.uid) && processStart(caller.pid) == started &&
      credentialsOf(m_bus, name) == credentials)
    caller.executable = program;
  else
    caller.pid = 0;
  known.caller = caller;
  return caller;
}

}  // namespace corvane
