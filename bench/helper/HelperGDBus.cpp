#include "bench/helper/Helper.h"
#include "corvane/linux/helper/HelperNames.h"

namespace {

void gdbus(benchmark::State& state) {
  const bench::EchoBus bus;
  GDBusConnection* const connection = g_dbus_connection_new_for_address_sync(
      bus.address(),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr);
  bench::exchanges(state, [connection]() -> std::int64_t {
    GVariantBuilder request;
    g_variant_builder_init(&request, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&request, "{sv}", "text", g_variant_new_string("hello"));
    g_variant_builder_add(&request, "{sv}", "number", g_variant_new_int64(bench::NUMBER));
    GVariant* const reply = g_dbus_connection_call_sync(connection, bench::LABEL, corvane::helper_names::OBJECT,
                                                        corvane::helper_names::INTERFACE, corvane::helper_names::METHOD,
                                                        g_variant_new("(a{sv})", &request), G_VARIANT_TYPE("(a{sv})"),
                                                        G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr, nullptr);
    if (!reply) return 0;
    GVariant* const dictionary = g_variant_get_child_value(reply, 0);
    gint64 number = 0;
    g_variant_lookup(dictionary, "number", "x", &number);
    g_variant_unref(dictionary);
    g_variant_unref(reply);
    return number;
  });
  g_object_unref(connection);
}

BENCHMARK(gdbus)->Name("helper/bare GDBus")->UseRealTime();

}  // namespace
