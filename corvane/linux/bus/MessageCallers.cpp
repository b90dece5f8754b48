#include "corvane/linux/bus/MessageCallers.h"

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "corvane/linux/process/ProcessStart.h"

namespace corvane {

namespace {

struct Credentials {
  guint32 uid = MessageCaller::NOBODY;
  guint32 pid = 0;
  bool operator==(const Credentials&) const = default;
};

// Those of the process that connected. std::nullopt if the connection has ended.
std::optional<Credentials> credentialsOf(const Bus& bus, const std::string& name) {
  const auto reply =
      bus.call(busMethod("GetConnectionCredentials", "(a{sv})"), g_variant_new("(s)", name.c_str()), Deadline());
  if (!reply) return std::nullopt;
  const glib::Ptr<GVariant> all(g_variant_get_child_value(reply->values.get(), 0));
  Credentials found;
  if (!g_variant_lookup(all.get(), "UnixUserID", "u", &found.uid) ||
      !g_variant_lookup(all.get(), "ProcessID", "u", &found.pid) || found.uid == MessageCaller::NOBODY ||
      found.pid == 0 || found.pid > INT_MAX)
    return std::nullopt;
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

MessageCaller MessageCallers::identify(const std::string& name) {
  const bool isNew = !m_known.contains(name);
  if (isNew) {
    // Before the first question, so that no departure is missed.
    m_known[name].subscription = m_bus.watchName(name, [this, name](const std::string& owner) {
      if (!owner.empty()) return;
      forget(name);
      if (m_left) m_left(name);
    });
  }
  const auto credentials = credentialsOf(m_bus, name);
  if (!credentials) {
    MessageCaller caller = m_known[name].caller;
    caller.name = name;
    caller.hasLeft = true;
    if (isNew) forget(name);  // otherwise the signal is on its way
    return caller;
  }
  MessageCaller caller{name, credentials->uid, static_cast<std::int32_t>(credentials->pid), {}};
  auto& known = m_known[name];
  const auto started = processStart(caller.pid);
  if (!known.started) known.started = started;
  const std::string program = programOf(credentials->pid);
  // Looked at again, lest the id has passed to another process in between.
  if (started && started == known.started && processStart(caller.pid) == started &&
      credentialsOf(m_bus, name) == credentials)
    caller.executable = program;
  known.caller = caller;
  return caller;
}

void MessageCallers::forget(const std::string& name) {
  const auto known = m_known.find(name);
  if (known == m_known.end()) return;
  m_bus.unsubscribe(known->second.subscription);
  m_known.erase(known);
}

}  // namespace corvane
