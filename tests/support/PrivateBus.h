#pragma once

#include <gio/gio.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace corvane {

/// A message bus of the test's own, in force as both the session and the system bus until the end of the scope. Only
/// what the test puts there is on it. It dies with the test process, however that ends.
///
/// The library's own connections are private, so buses may follow each other in one process; g_bus_get() keeps its
/// first one for good, so tests should not use it.
class PrivateBus {
 public:
  /// `serviceFolder`: if not empty, a folder with D-Bus service files, whose services the bus starts on demand.
  explicit PrivateBus(const std::string& serviceFolder = {}) : m_bus(g_test_dbus_new(G_TEST_DBUS_NONE)) {
    if (!serviceFolder.empty()) g_test_dbus_add_service_dir(m_bus.get(), serviceFolder.c_str());
    g_test_dbus_up(m_bus.get());  // sets the session bus's variable
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address(), 1);
  }

  ~PrivateBus() {
    g_test_dbus_stop(m_bus.get());
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  }

  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const char* address() const { return g_test_dbus_get_bus_address(m_bus.get()); }

 private:
  struct Release {
    void operator()(GTestDBus* bus) const { g_object_unref(bus); }
  };
  std::unique_ptr<GTestDBus, Release> m_bus;
};

}  // namespace corvane
