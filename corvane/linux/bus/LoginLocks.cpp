#include "corvane/linux/bus/LoginLocks.h"

#include <errno.h>

namespace corvane {

namespace {

BusMethod manager(const char* name, const char* replyType) {
  return {"org.freedesktop.login1",        "/org/freedesktop/login1", "org.freedesktop.login1.Manager", name, replyType,
          G_DBUS_CALL_FLAGS_NO_AUTO_START, "The login manager: "};
}

}  // namespace

bool LoginLock::covers(std::string_view action) const {
  return (":" + what + ":").find(":" + std::string(action) + ":") != std::string::npos;
}

Result<FileDescriptor> takeLoginLock(BusLink& system, const char* what, const std::string& who, const std::string& why,
                                     const Deadline& deadline, const std::function<void()>& meanwhile) {
  const auto answer = system.callWhile(
      manager("Inhibit", "(h)"), g_variant_new("(ssss)", what, who.c_str(), why.c_str(), "block"), deadline, meanwhile);
  if (!answer) return tl::unexpected<Error>(answer.error());
  gint32 handle = -1;
  g_variant_get(answer->reply.values.get(), "(h)", &handle);
  FileDescriptor lock = answer->reply.descriptor(handle);
  if (lock.get() < 0) return systemFailure(EMFILE);
  return lock;
}

Result<std::vector<LoginLock>> loginLocks(BusLink& system, const Deadline& deadline,
                                          const std::function<void()>& meanwhile) {
  const auto answer = system.callWhile(manager("ListInhibitors", "(a(ssssuu))"), nullptr, deadline, meanwhile);
  if (!answer) return tl::unexpected<Error>(answer.error());
  const glib::Ptr<GVariant> array(g_variant_get_child_value(answer->reply.values.get(), 0));
  std::vector<LoginLock> locks;
  for (gsize i = 0; i < g_variant_n_children(array.get()); ++i) {
    const char *what = nullptr, *who = nullptr, *why = nullptr, *mode = nullptr;
    guint32 pid = 0;
    g_variant_get_child(array.get(), i, "(&s&s&s&suu)", &what, &who, &why, &mode, nullptr, &pid);
    locks.push_back({what, who, why, mode, static_cast<std::int32_t>(pid)});
  }
  return locks;
}

}  // namespace corvane
