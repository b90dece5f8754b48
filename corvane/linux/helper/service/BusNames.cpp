#include "corvane/linux/helper/service/BusNames.h"

#include <errno.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>

#include "corvane/linux/helper/HelperNames.h"
#include "corvane/linux/helper/service/HelperStore.h"
#include "corvane/linux/process/DeletedRemark.h"
#include "corvane/linux/process/ProcessDescriptor.h"

namespace corvane {

namespace {

// Where others declare services of the system bus.
constexpr const char* OTHER_SERVICES[] = {"/etc/dbus-1/system-services", "/run/dbus-1/system-services",
                                          "/usr/share/dbus-1/system-services", "/lib/dbus-1/system-services"};
constexpr const char* OTHER_POLICIES = "/usr/share/dbus-1/system.d";

BusMethod daemonMethod(const char* name, const char* replyType) {
  return {.service = "org.freedesktop.DBus",
          .object = "/org/freedesktop/DBus",
          .interface = "org.freedesktop.DBus",
          .name = name,
          .replyType = replyType};
}

// The number that the bus knows of a connection.
Result<guint32> ask(const Bus& bus, const char* method, const std::string& name) {
  const auto reply = bus.call(daemonMethod(method, "(u)"), g_variant_new("(s)", name.c_str()), Deadline());
  if (!reply) return tl::unexpected(reply.error());
  guint32 number = 0;
  g_variant_get(reply->values.get(), "(u)", &number);
  return number;
}

bool isMissing(const Error& error) {
  return error.domain == "org.freedesktop.DBus.Error.NameHasNoOwner";
}

tl::unexpected<Error> claimed(const std::string& by) {
  return failure("helper", 0, "The label belongs to another service: " + by);
}

Result<bool> isActivatable(const Bus& bus, const std::string& label) {
  const auto reply = bus.call(daemonMethod("ListActivatableNames", "(as)"), nullptr, Deadline());
  if (!reply) return tl::unexpected(reply.error());
  const glib::Ptr<GVariant> names(g_variant_get_child_value(reply->values.get(), 0));
  GVariantIter each;
  g_variant_iter_init(&each, names.get());
  const char* name = nullptr;
  while (g_variant_iter_next(&each, "&s", &name))
    if (label == name) return true;
  return false;
}

// The label's process must be a helper of ours.
Result<void> checkOwner(const Bus& bus, const std::string& label) {
  const auto pid = ask(bus, "GetConnectionUnixProcessID", label);
  if (!pid) return isMissing(pid.error()) ? Result<void>() : tl::unexpected(pid.error());
  std::error_code error;
  const std::string program = std::filesystem::read_symlink("/proc/" + std::to_string(*pid) + "/exe", error);
  const std::string ours = std::string(helper_names::FOLDER) + "/" + label;
  if (program != ours && program != ours + std::string(DELETED_REMARK)) return claimed("it is running");
  return {};
}

}  // namespace

Result<void> checkUnclaimed(const Bus& bus, const std::string& label) {
  for (const char* folder : OTHER_SERVICES)
    if (const std::string file = std::string(folder) + "/" + label + ".service"; access(file.c_str(), F_OK) == 0)
      return claimed(file);
  if (const std::string file = std::string(OTHER_POLICIES) + "/" + label + ".conf"; access(file.c_str(), F_OK) == 0)
    return claimed(file);
  const auto known = HelperStore::knows(label);
  if (!known) return tl::unexpected(known.error());
  const auto activatable = isActivatable(bus, label);
  if (!activatable) return tl::unexpected(activatable.error());
  if (*activatable && !*known) return claimed("the bus can start it");
  return checkOwner(bus, label);
}

bool isConnected(const Bus& bus, const std::string& name) {
  return userOf(bus, name).has_value();
}

Result<guint32> userOf(const Bus& bus, const std::string& name) {
  return ask(bus, "GetConnectionUnixUser", name);
}

Result<void> applyChange(const Bus& bus, const std::string& label, const FileIdentity* replaced) {
  const auto reloaded = bus.call(daemonMethod("ReloadConfig", "()"), nullptr, Deadline());
  if (!reloaded) return tl::unexpected(reloaded.error());
  const auto pid = ask(bus, "GetConnectionUnixProcessID", label);
  if (!pid || !replaced) return {};
  const FileDescriptor process = openProcess(static_cast<pid_t>(*pid));
  struct stat program {};
  if (process.get() < 0 || stat(("/proc/" + std::to_string(*pid) + "/exe").c_str(), &program) != 0 ||
      FileIdentity{program.st_dev, program.st_ino} != *replaced)
    return {};
  // Only now it is certain that the descriptor is of the process that owns the name.
  if (ask(bus, "GetConnectionUnixProcessID", label).value_or(0) != *pid) return {};
  if (syscall(SYS_pidfd_send_signal, process.get(), SIGTERM, nullptr, 0) != 0) return systemFailure(errno);
  return {};
}

}  // namespace corvane
