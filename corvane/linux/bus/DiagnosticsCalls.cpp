#include "corvane/linux/bus/DiagnosticsCalls.h"

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "corvane/core/Text.h"
#include "corvane/linux/bus/DiagnosticsCodec.h"

namespace corvane::diagnostics {

namespace {

constexpr char UNKNOWN_METHOD[] = "org.freedesktop.DBus.Error.UnknownMethod";
constexpr char UNKNOWN_OBJECT[] = "org.freedesktop.DBus.Error.UnknownObject";
constexpr char UNKNOWN_INTERFACE[] = "org.freedesktop.DBus.Error.UnknownInterface";
constexpr char UNKNOWN_PROPERTY[] = "org.freedesktop.DBus.Error.UnknownProperty";
constexpr char READ_ONLY[] = "org.freedesktop.DBus.Error.PropertyReadOnly";
constexpr char INVALID_ARGUMENTS[] = "org.freedesktop.DBus.Error.InvalidArgs";

constexpr std::uint64_t MAX_LOG = 1 << 20;  // bytes

// A tuple with a floating reference.
using Answer = Result<GVariant*>;

struct Call {
  Inspectable& program;
  GVariant* arguments;  // of the described type
  std::shared_ptr<void>& watch;

  template <class... Argument>
  std::tuple<Argument...> as() const {
    return decode<std::tuple<Argument...>>(arguments).value();
  }
};

Answer sent(const Result<void>& result) {
  return result.map([] { return encode(std::tuple<>()); });
}

template <class T>
Answer sent(const Result<T>& result) {
  return result.map([](const T& value) { return encode(value); });
}

Answer repeaters(const Call& call) {
  const auto [known] = call.as<std::uint64_t>();
  return call.program.repeaters().map([known = known](const auto& all) { return encode(all, known); });
}

Answer log(const Call& call) {
  const auto [after, limit] = call.as<LogPlace, std::uint64_t>();
  return sent(call.program.log(after, static_cast<std::size_t>(std::min(limit, MAX_LOG))));
}

Answer watch(const Call& call) {
  if (!call.watch) {
    auto watch = call.program.watch();
    if (!watch) return tl::unexpected(watch.error());
    call.watch = std::move(*watch);
  }
  return encode(std::tuple<>());
}

Answer longSpans(const Call& call) {
  const auto [since, nsec] = call.as<std::uint64_t, std::int64_t>();
  return sent(call.program.longSpans(since, nsec));
}

Answer setPaused(const Call& call) {
  const auto [id, paused] = call.as<std::uint64_t, bool>();
  return sent(call.program.setPaused(id, paused));
}

// Not a map: it must not be destroyed while the process exits.
constexpr std::pair<std::string_view, Answer (*)(const Call&)> METHODS[] = {
    {"Identity", [](const Call& call) { return sent(call.program.identity()); }},
    {"Repeaters", repeaters},
    {"Queues", [](const Call& call) { return sent(call.program.queues()); }},
    {"Listeners", [](const Call& call) { return sent(call.program.listeners()); }},
    {"Log", log},
    {"Settings", [](const Call& call) { return sent(call.program.settings()); }},
    {"Watch", watch},
    {"Recording", [](const Call& call) { return sent(call.program.recording(std::get<0>(call.as<double>()))); }},
    {"LongSpans", longSpans},
    {"ResetStats", [](const Call& call) { return sent(call.program.resetStats()); }},
    {"SetTimeConstant",
     [](const Call& call) { return sent(call.program.setTimeConstant(std::get<0>(call.as<double>()))); }},
    {"SetPaused", setPaused},
};

GDBusInterfaceInfo* description() {
  static GDBusNodeInfo* const NODE = g_dbus_node_info_new_for_xml(interfaceXml(), nullptr);
  return NODE->interfaces[0];
}

// Of a tuple of these arguments.
std::string typeOf(GDBusArgInfo** arguments) {
  std::string type = "(";
  for (; arguments && *arguments; ++arguments) type += (*arguments)->signature;
  return type + ")";
}

bool isOf(GVariant* arguments, const std::string& type) {
  return g_variant_is_of_type(arguments, G_VARIANT_TYPE(type.c_str())) != FALSE;
}

tl::unexpected<Error> invalidArguments(const std::string& type) {
  return failure(INVALID_ARGUMENTS, 0, "The arguments must be " + type);
}

Answer method(const Call& call, const std::string& name) {
  const GDBusMethodInfo* const info = g_dbus_interface_info_lookup_method(description(), name.c_str());
  const auto* const found = std::ranges::find(METHODS, name, [](const auto& entry) { return entry.first; });
  if (!info || found == std::end(METHODS)) return failure(UNKNOWN_METHOD, 0, "There is no method " + name);
  if (const auto type = typeOf(info->in_args); !isOf(call.arguments, type)) return invalidArguments(type);
  return found->second(call);
}

Answer introspect(const std::string& path) {
  if (path == OBJECT) return g_variant_new("(s)", interfaceXml());
  const std::string parent = path == "/" ? path : path + "/";
  if (!std::string_view(OBJECT).starts_with(parent)) return g_variant_new("(s)", "<node/>");
  std::string child = std::string(OBJECT).substr(parent.size());
  child.resize(std::min(child.find('/'), child.size()));
  return g_variant_new("(s)", ("<node><node name='" + child + "'/></node>").c_str());
}

Answer property(GVariant* arguments, const std::string& member) {
  const auto version = [] { return g_variant_new_uint32(VERSION); };
  const char* interface = nullptr;
  const char* name = "Version";
  if (member == "GetAll") {
    if (!isOf(arguments, "(s)")) return invalidArguments("(s)");
    g_variant_get(arguments, "(&s)", &interface);
  } else if (member == "Get") {
    if (!isOf(arguments, "(ss)")) return invalidArguments("(ss)");
    g_variant_get(arguments, "(&s&s)", &interface, &name);
  } else {
    return failure(READ_ONLY, 0, "No property can be set");
  }
  if (std::string_view(interface) != INTERFACE && *interface) return failure(UNKNOWN_INTERFACE, 0, interface);
  if (std::string_view(name) != "Version") return failure(UNKNOWN_PROPERTY, 0, name);
  return member == "Get" ? g_variant_new("(v)", version()) : g_variant_new_parsed("({'Version': <%@u>},)", version());
}

Answer answerTo(GDBusMessage* message, Inspectable& program, std::shared_ptr<void>& watch) {
  const auto text = [](const char* header) { return std::string(header ? header : ""); };
  const std::string path = text(g_dbus_message_get_path(message));
  const std::string interface = text(g_dbus_message_get_interface(message));
  const std::string member = text(g_dbus_message_get_member(message));
  GVariant* const body = g_dbus_message_get_body(message);
  const glib::Ptr<GVariant> arguments(body ? g_variant_ref(body) : g_variant_ref_sink(g_variant_new_tuple(nullptr, 0)));
  if (interface == "org.freedesktop.DBus.Introspectable" && member == "Introspect") return introspect(path);
  if (interface == "org.freedesktop.DBus.Peer" && member == "Ping") return encode(std::tuple<>());
  // What tools that expect a bus begin with.
  if (interface == "org.freedesktop.DBus" && member == "Hello") return g_variant_new("(s)", ":1.1");
  if (path != OBJECT) return failure(UNKNOWN_OBJECT, 0, "There is no object " + path);
  if (interface == "org.freedesktop.DBus.Properties") return property(arguments.get(), member);
  if (interface == INTERFACE || interface.empty()) return method({program, arguments.get(), watch}, member);
  return failure(UNKNOWN_INTERFACE, 0, "There is no interface " + interface);
}

}  // namespace

Calls::Calls(std::shared_ptr<Inspectable> program) : m_program(std::move(program)) {}

glib::Ptr<GDBusMessage> Calls::answer(GDBusMessage* call, std::shared_ptr<void>& watch) const {
  const auto answer = answerTo(call, *m_program, watch);
  if (!answer) return refusal(call, answer.error());
  glib::Ptr<GDBusMessage> reply(g_dbus_message_new_method_reply(call));
  g_dbus_message_set_body(reply.get(), *answer);
  return reply;
}

glib::Ptr<GDBusMessage> Calls::refusal(GDBusMessage* call, const Error& error) {
  std::string name = error.domain;
  if (error.domain == "posix" || !g_dbus_is_interface_name(name.c_str())) {
    const char* const code = strerrorname_np(error.code);
    name = std::string(ERROR_PREFIX) + (error.domain == "posix" && code ? code : "Failed");
  }
  std::string description = error.description;
  std::erase(description, '\0');
  return glib::Ptr<GDBusMessage>(
      g_dbus_message_new_method_error_literal(call, name.c_str(), repaired(std::move(description)).c_str()));
}

tl::unexpected<Error> errorOf(GDBusMessage* refusal) {
  const char* const header = g_dbus_message_get_error_name(refusal);
  const std::string name = header ? header : "";
  GVariant* const body = g_dbus_message_get_body(refusal);
  std::string description = name;
  if (body && g_variant_is_of_type(body, G_VARIANT_TYPE("(s)"))) {
    const char* text = nullptr;
    g_variant_get(body, "(&s)", &text);
    description = text;
  }
  if (name.starts_with(ERROR_PREFIX)) {
    const std::string code = name.substr(sizeof ERROR_PREFIX - 1);
    for (int number = 1; number < 256; ++number)
      if (const char* const known = strerrorname_np(number); known && code == known)
        return failure("posix", number, description);
  }
  return failure(name, 0, description);
}

}  // namespace corvane::diagnostics
