#include "corvane/linux/helper/service/HelpersService.h"

#include <algorithm>
#include <vector>

#include "corvane/core/Thread.h"
#include "corvane/linux/helper/HelperNames.h"
#include "corvane/linux/helper/service/BusNames.h"

namespace corvane {

namespace {

constexpr guint32 NAME_DO_NOT_QUEUE = 4;
constexpr guint32 NAME_IS_OURS = 1;
constexpr char ERRORS[] = "org.corvane.Helpers1.Error.";

constexpr char INTERFACE[] =
    "<node><interface name='org.corvane.Helpers1'>"
    "<method name='Install'><arg name='label' type='s' direction='in'/><arg name='program' type='h' direction='in'/>"
    "<arg name='version' type='x' direction='out'/></method>"
    "<method name='Remove'><arg name='label' type='s' direction='in'/></method>"
    "<method name='Authorise'><arg name='right' type='s' direction='in'/><arg name='prompt' type='s' direction='in'/>"
    "</method></interface></node>";

Result<guint32> callForName(const Bus& bus, const char* method, GVariant* arguments) {
  const auto reply = bus.call({"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method, "(u)"},
                              arguments, Deadline());
  if (!reply) return tl::unexpected(reply.error());
  guint32 answer = 0;
  g_variant_get(reply->values.get(), "(u)", &answer);
  return answer;
}

void refuse(GDBusMethodInvocation* invocation, const char* name, const std::string& why) {
  g_dbus_method_invocation_return_dbus_error(invocation, (ERRORS + std::string(name)).c_str(), why.c_str());
}

void refuse(GDBusMethodInvocation* invocation, const Error& error) {
  const char* const name = error.domain == "helper" ? "Refused" : error.domain == "polkit" ? "NotAuthorized" : "Failed";
  refuse(invocation, name, error.description);
}

// The descriptors that came with a call. Closing one may take as long as the owner of its file system wants: whoever
// takes them should do that where it may wait.
std::vector<FileDescriptor> takeDescriptors(GDBusMethodInvocation* invocation) {
  std::vector<FileDescriptor> taken;
  GUnixFDList* const list = g_dbus_message_get_unix_fd_list(g_dbus_method_invocation_get_message(invocation));
  if (!list) return taken;
  gint count = 0;
  const std::unique_ptr<gint, void (*)(void*)> all(g_unix_fd_list_steal_fds(list, &count), g_free);
  for (gint i = 0; i < count; ++i) taken.emplace_back(all.get()[i]);
  return taken;
}

}  // namespace

// What a caller asks.
struct HelpersService::Call {
  GDBusMethodInvocation* invocation;
  std::string method, label, prompt;  // label: or right
  gint32 handle = -1;
  std::vector<FileDescriptor> descriptors;
  ServiceCaller caller;

  explicit Call(GDBusMethodInvocation* from)
      : invocation(from), method(g_dbus_method_invocation_get_method_name(from)), descriptors(takeDescriptors(from)) {
    GVariant* const arguments = g_dbus_method_invocation_get_parameters(from);
    const char* text = nullptr;
    g_variant_get_child(arguments, 0, "&s", &text);
    label = text;
    if (method == "Install") g_variant_get_child(arguments, 1, "h", &handle);
    if (method == "Authorise") {
      g_variant_get_child(arguments, 1, "&s", &text);
      prompt = text;
    }
  }

  // The values to answer with.
  Result<GVariant*> perform(Operations& operations) {
    if (method == "Install") {
      const auto index = static_cast<std::size_t>(handle);
      const auto version = operations.install(
          caller, label, index < descriptors.size() ? std::move(descriptors[index]) : FileDescriptor());
      return version.map([](std::int64_t number) { return g_variant_new("(x)", gint64{number}); });
    }
    const auto done =
        method == "Remove" ? operations.remove(caller, label) : operations.authorise(caller, label, prompt);
    return done.map([]() -> GVariant* { return nullptr; });
  }
};

HelpersService::HelpersService(const Bus& bus)
    : m_bus(bus), m_operations(bus), m_loop(g_main_loop_new(nullptr, FALSE)) {}

Result<void> HelpersService::run() {
  const GDBusInterfaceVTable table = {
      [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant*,
         GDBusMethodInvocation* invocation, gpointer self) { static_cast<HelpersService*>(self)->take(invocation); },
      nullptr,
      nullptr,
      {}};
  const std::unique_ptr<GDBusNodeInfo, void (*)(GDBusNodeInfo*)> node(g_dbus_node_info_new_for_xml(INTERFACE, nullptr),
                                                                      g_dbus_node_info_unref);
  GError* error = nullptr;
  if (g_dbus_connection_register_object(m_bus.connection(), helper_names::SERVICE_OBJECT, node->interfaces[0], &table,
                                        this, nullptr, &error) == 0)
    return glib::takeError(error);
  g_signal_connect_swapped(m_bus.connection(), "closed", G_CALLBACK(g_main_loop_quit), m_loop.get());
  const auto owned = callForName(m_bus, "RequestName", g_variant_new("(su)", helper_names::SERVICE, NAME_DO_NOT_QUEUE));
  if (!owned) return tl::unexpected(owned.error());
  if (*owned != NAME_IS_OURS) return failure("helper", 0, "The service is already running");

  waitForCalls();
  g_main_loop_run(m_loop.get());
  // Calls that came before the name was given up are still served; a new service takes those that come after it.
  m_isReleased = true;
  const auto released = callForName(m_bus, "ReleaseName", g_variant_new("(s)", helper_names::SERVICE));
  if (!released) return tl::unexpected(released.error());
  do g_main_context_iteration(nullptr, m_calls.empty() ? FALSE : TRUE);
  while (!m_calls.empty() || g_main_context_pending(nullptr) != FALSE);
  g_dbus_connection_flush_sync(m_bus.connection(), nullptr, nullptr);
  return {};
}

void HelpersService::take(GDBusMethodInvocation* invocation) {
  const auto call = std::make_shared<Call>(invocation);
  const auto user = userOf(m_bus, g_dbus_method_invocation_get_sender(invocation));
  if (!user) return refuse(invocation, user.error());
  const std::pair key{*user, call->label.substr(0, HelperLimits::TEXT)};
  const auto isTheirs = [&user](const auto& other) { return other.first == *user; };
  if (m_calls.size() >= MAX_CALLS || m_calls.contains(key) ||
      std::ranges::count_if(m_calls, isTheirs) >= static_cast<std::ptrdiff_t>(MAX_CALLS_OF_USER))
    return refuse(invocation, "Busy", "Others wait for an answer: try again later");
  call->caller = {g_dbus_method_invocation_get_sender(invocation), *user,
                  (g_dbus_message_get_flags(g_dbus_method_invocation_get_message(invocation)) &
                   G_DBUS_MESSAGE_FLAGS_ALLOW_INTERACTIVE_AUTHORIZATION) != 0};
  m_calls.insert(key);
  if (m_idle) g_source_destroy(m_idle.get());
  const auto started = startDetached([this, call, key] {
    const auto answer = call->perform(m_operations);
    call->descriptors.clear();
    glib::invoke(nullptr, [this, key, answer, invocation = call->invocation] {
      end(key);  // first, so that a caller who has the answer may call again
      if (answer)
        g_dbus_method_invocation_return_value(invocation, *answer);
      else
        refuse(invocation, answer.error());
    });
  });
  if (started) return;
  refuse(invocation, "Busy", "The system refuses a thread");
  end(key);
}

void HelpersService::end(const std::pair<guint32, std::string>& key) {
  m_calls.erase(m_calls.find(key));
  if (m_calls.empty() && !m_isReleased) waitForCalls();
}

void HelpersService::waitForCalls() {
  m_idle = glib::timeout(nullptr, IDLE_MSEC, [this] { g_main_loop_quit(m_loop.get()); });
}

}  // namespace corvane
