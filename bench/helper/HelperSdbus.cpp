#include <systemd/sd-bus.h>

#include "bench/helper/Helper.h"
#include "corvane/linux/helper/HelperNames.h"

namespace {

void sdbus(benchmark::State& state) {
  const bench::EchoBus bus;
  sd_bus* connection = nullptr;
  sd_bus_new(&connection);
  sd_bus_set_address(connection, bus.address());
  sd_bus_set_bus_client(connection, 1);
  sd_bus_start(connection);
  bench::exchanges(state, [connection]() -> std::int64_t {
    sd_bus_message *request = nullptr, *reply = nullptr;
    sd_bus_message_new_method_call(connection, &request, bench::LABEL, corvane::helper_names::OBJECT,
                                   corvane::helper_names::INTERFACE, corvane::helper_names::METHOD);
    sd_bus_message_append(request, "a{sv}", 2, "number", "x", bench::NUMBER, "text", "s", "hello");
    std::int64_t number = 0;
    if (sd_bus_call(connection, request, UINT64_MAX, nullptr, &reply) >= 0) {
      sd_bus_message_enter_container(reply, 'a', "{sv}");
      const char* key = nullptr;
      sd_bus_message_enter_container(reply, 'e', "sv");
      sd_bus_message_read(reply, "s", &key);
      sd_bus_message_read(reply, "v", "x", &number);
    }
    sd_bus_message_unref(reply);
    sd_bus_message_unref(request);
    return number;
  });
  sd_bus_flush_close_unref(connection);
}

BENCHMARK(sdbus)->Name("helper/sd-bus")->UseRealTime();

}  // namespace
