#include "corvane/linux/bus/SessionInhibitors.h"

#include <errno.h>

#include <array>
#include <optional>

namespace corvane {

/// A service that keeps the session awake.
struct SessionService {
  const char* name;
  const char* object;
  const char* interface;
  const char* release;  // the method that takes the cookie back
};

namespace {

constexpr const char* GNOME = "org.gnome.SessionManager";
constexpr std::uint32_t GNOME_SUSPEND = 4, GNOME_IDLE = 8;

constexpr SessionService SESSION_MANAGER{GNOME, "/org/gnome/SessionManager", GNOME, "Uninhibit"};
constexpr SessionService SCREEN_SAVER{"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
                                      "org.freedesktop.ScreenSaver", "UnInhibit"};
constexpr SessionService POWER_MANAGEMENT{"org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit",
                                          "org.freedesktop.PowerManagement.Inhibit", "UnInhibit"};

BusMethod method(const SessionService& service, const char* name, const char* replyType) {
  return {service.name,
          service.object,
          service.interface,
          name,
          replyType,
          G_DBUS_CALL_FLAGS_NO_AUTO_START,
          std::string(service.name) + ": "};
}

// The only value of a call's answer, of a type that g_variant_get() knows as `format`.
template <class Value>
Result<Value> ask(BusLink& session, const BusMethod& question, GVariant* arguments, const Deadline& deadline) {
  const auto answer = session.call(question, arguments, deadline);
  if (!answer) return tl::unexpected<Error>(answer.error());
  if constexpr (std::is_same_v<Value, std::string>) {
    const char* text = nullptr;
    g_variant_get_child(answer->reply.values.get(), 0, question.replyType[1] == 'o' ? "&o" : "&s", &text);
    return std::string(text);
  } else {
    guint32 number = 0;
    g_variant_get(answer->reply.values.get(), "(u)", &number);
    return number;
  }
}

// The process of the application behind an inhibitor, if the session manager knows it.
std::optional<std::uint32_t> processOf(BusLink& session, const std::string& inhibitor, const Deadline& deadline) {
  const auto client = ask<std::string>(
      session, {GNOME, inhibitor, "org.gnome.SessionManager.Inhibitor", "GetClientId", "(o)"}, nullptr, deadline);
  if (!client) return std::nullopt;
  const auto pid = ask<std::uint32_t>(
      session, {GNOME, *client, "org.gnome.SessionManager.Client", "GetUnixProcessId", "(u)"}, nullptr, deadline);
  if (!pid || *pid == 0) return std::nullopt;
  return *pid;
}

// What is known of an inhibitor; nothing if it has gone meanwhile.
std::optional<ListedInhibitor> describe(BusLink& session, const std::string& inhibitor, std::uint32_t manager,
                                        const Deadline& deadline) {
  BusMethod question{GNOME, inhibitor, "org.gnome.SessionManager.Inhibitor", "GetFlags", "(u)"};
  const auto flags = ask<std::uint32_t>(session, question, nullptr, deadline);
  if (!flags || (*flags & (GNOME_IDLE | GNOME_SUSPEND)) == 0) return std::nullopt;
  question.replyType = "(s)";
  question.name = "GetAppId";
  const auto who = ask<std::string>(session, question, nullptr, deadline);
  question.name = "GetReason";
  const auto why = ask<std::string>(session, question, nullptr, deadline);
  if (!who || !why) return std::nullopt;
  const std::uint32_t pid = processOf(session, inhibitor, deadline).value_or(manager);
  return ListedInhibitor{static_cast<std::int32_t>(pid), *who, *why, (*flags & GNOME_IDLE) != 0,
                         (*flags & GNOME_SUSPEND) != 0};
}

}  // namespace

void SessionInhibitor::release() const {
  bus->send(method(*service, service->release, "()"), g_variant_new("(u)", cookie));
}

bool SessionInhibitor::isInForce() const {
  return g_dbus_connection_is_closed(bus->connection()) == FALSE;
}

bool SessionInhibitor::isListed() const {
  return service == &SESSION_MANAGER;
}

Result<SessionInhibitor> takeSessionInhibitor(BusLink& session, const AssertionKind& kind, const std::string& who,
                                              const std::string& why, const Deadline& deadline) {
  const std::array<const SessionService*, 2> services = {&SESSION_MANAGER,
                                                         kind.display ? &SCREEN_SAVER : &POWER_MANAGEMENT};
  Error trouble{"posix", ENOTSUP, "The session has no service that could"};
  for (std::size_t i = 0; i < services.size(); ++i) {
    const SessionService& service = *services.at(i);
    GVariant* const arguments = &service == &SESSION_MANAGER ? g_variant_new("(susu)", who.c_str(), 0U, why.c_str(),
                                                                             kind.display ? GNOME_IDLE : GNOME_SUSPEND)
                                                             : g_variant_new("(ss)", who.c_str(), why.c_str());
    const Deadline share(std::chrono::milliseconds(deadline.msec() / static_cast<int>(services.size() - i)));
    const auto answer = session.call(method(service, "Inhibit", "(u)"), arguments, share);
    if (answer) {
      guint32 cookie = 0;
      g_variant_get(answer->reply.values.get(), "(u)", &cookie);
      return SessionInhibitor{answer->bus, &service, cookie};
    }
    if (const Error error = powerError(answer.error()); error.code != ENOTSUP) trouble = error;
  }
  return tl::unexpected<Error>(trouble);
}

Result<SessionList> listSession(BusLink& session, const Deadline& deadline) {
  const auto answer = session.call(method(SESSION_MANAGER, "GetInhibitors", "(ao)"), nullptr, deadline);
  if (!answer) return tl::unexpected<Error>(answer.error());
  const auto manager = ask<std::uint32_t>(
      session,
      {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetConnectionUnixProcessID", "(u)"},
      g_variant_new("(s)", GNOME), deadline);
  if (!manager) return tl::unexpected<Error>(manager.error());
  SessionList list{static_cast<std::int32_t>(*manager), {}};
  const glib::Ptr<GVariant> paths(g_variant_get_child_value(answer->reply.values.get(), 0));
  for (gsize i = 0; i < g_variant_n_children(paths.get()) && !deadline.isOver(); ++i) {
    const char* path = nullptr;
    g_variant_get_child(paths.get(), i, "&o", &path);
    if (auto inhibitor = describe(session, path, *manager, deadline)) list.inhibitors.push_back(std::move(*inhibitor));
  }
  return list;
}

}  // namespace corvane
