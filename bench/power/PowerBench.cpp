// Beside the bare calls of the login manager, on the system bus. Without one there is nothing to measure.
#include <benchmark/benchmark.h>
#include <gio/gio.h>
#include <gio/gunixfdlist.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "corvane/system/PowerAssertion.h"

namespace {

constexpr const char* TYPE = "PreventUserIdleSystemSleep";
constexpr int LOCKS = 20;  // on a desktop there are about as many

GDBusConnection* bus() {
  static GDBusConnection* const connection = [] {
    GDBusConnection* made = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (made) g_dbus_connection_set_exit_on_close(made, FALSE);
    return made;
  }();
  return connection;
}

GVariant* call(const char* method, GVariant* arguments, const char* type, GUnixFDList** descriptors = nullptr) {
  return g_dbus_connection_call_with_unix_fd_list_sync(
      bus(), "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager", method, arguments,
      G_VARIANT_TYPE(type), G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, descriptors, nullptr, nullptr);
}

int bareInhibit() {
  GUnixFDList* descriptors = nullptr;
  GVariant* const reply =
      call("Inhibit", g_variant_new("(ssss)", "idle", "PowerBench", "Measuring", "block"), "(h)", &descriptors);
  if (!reply) return -1;
  const int lock = g_unix_fd_list_get(descriptors, 0, nullptr);
  g_object_unref(descriptors);
  g_variant_unref(reply);
  return lock;
}

bool hasLoginManager(benchmark::State& state) {
  GVariant* const reply = bus() ? call("ListInhibitors", nullptr, "(a(ssssuu))") : nullptr;
  if (reply)
    g_variant_unref(reply);
  else
    state.SkipWithError("no login manager on the system bus");
  return reply != nullptr;
}

void holdCorvane(benchmark::State& state) {
  if (!hasLoginManager(state)) return;
  corvane::PowerAssertion power;
  power.setReason("Measuring");
  for (auto _ : state) {
    if (power.prevent(TYPE) != 0) state.SkipWithError("refused");
    power.allow(TYPE);
  }
}

void holdBare(benchmark::State& state) {
  if (!hasLoginManager(state)) return;
  for (auto _ : state) {
    const int lock = bareInhibit();
    if (lock < 0) state.SkipWithError("refused");
    close(lock);
  }
}

template <class List>
void list(benchmark::State& state, List listOnce) {
  if (!hasLoginManager(state)) return;
  std::vector<int> locks;
  for (int i = 0; i < LOCKS; ++i) locks.push_back(bareInhibit());
  for (auto _ : state)
    if (!listOnce()) state.SkipWithError("not all");
  for (const int lock : locks) close(lock);
}

void listCorvane(benchmark::State& state) {
  list(state, [] {
    int count = 0;
    corvane::PowerAssertion::iterateassertions([&count](auto, auto&, auto&, auto&) { ++count; });
    return count == LOCKS;
  });
}

void listBare(benchmark::State& state) {
  list(state, [] {
    GVariant* const reply = call("ListInhibitors", nullptr, "(a(ssssuu))");
    if (!reply) return false;
    GVariant* const array = g_variant_get_child_value(reply, 0);
    const bool isWhole = g_variant_n_children(array) == LOCKS;
    g_variant_unref(array);
    g_variant_unref(reply);
    return isWhole;
  });
}

}  // namespace

BENCHMARK(holdCorvane)->Name("power.hold/Corvane")->UseRealTime();
BENCHMARK(holdBare)->Name("power.hold/bare Inhibit and close")->UseRealTime();
BENCHMARK(listCorvane)->Name("power.list/Corvane")->UseRealTime();
BENCHMARK(listBare)->Name("power.list/bare ListInhibitors")->UseRealTime();
