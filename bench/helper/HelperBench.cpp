// The round trip of a small request to a helper, beside bare calls of the same helper on the same kind of bus.
#include "bench/helper/Helper.h"
#include "corvane/platform/Platform.h"
#include "corvane/system/helper/XPC.h"
#include "corvane/testing/FakeHelperInstaller.h"

namespace {

void corvaneXPC(benchmark::State& state) {
  const bench::EchoBus bus;
  corvane::Platform platform;
  const auto installer = std::make_shared<corvane::FakeHelperInstaller>();
  installer->installed = installer->bundled = {{bench::LABEL, corvane::FakeHelperInstaller::info("1")}};
  platform.helperInstaller.set(installer);
  const corvane::ScopedPlatform scope(platform);
  const auto xpc = corvane::XPC::create(bench::LABEL);
  bench::exchanges(state, [&xpc] {
    std::int64_t number = 0;
    xpc->perform(
        [](corvane::Message& request) {
          request.set("text", "hello");
          request.set("number", bench::NUMBER);
        },
        [&number](const corvane::Message& reply) {
          if (const corvane::Message* entry = reply.find("number"); entry && entry->asInteger())
            number = *entry->asInteger();
        });
    return number;
  });
}

BENCHMARK(corvaneXPC)->Name("helper/Corvane XPC")->UseRealTime();

}  // namespace
