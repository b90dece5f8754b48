#include <plist/plist.h>

#include <cstdint>

#include "bench/values/PropertyList.h"

namespace {

void libplist(benchmark::State& state, const bench::PropertyListSample& (*list)()) {
  bench::readPropertyLists(state, list(), [](const std::string& bytes) {
    plist_t value = nullptr;
    plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &value);
    const bool read = value != nullptr;
    plist_free(value);
    return read;
  });
}

CORVANE_BENCH_PROPERTY_LIST(libplist, "libplist");

}  // namespace
