#pragma once

#include <benchmark/benchmark.h>

#include <string>

#include "bench/Measure.h"

namespace bench {

/// A property list of 11 or 12 MB: many small dictionaries with values of all types.
struct PropertyListSample {
  std::string bytes;
  std::string path;  ///< of a file with these bytes
};

const PropertyListSample& xmlSample();
const PropertyListSample& binarySample();

/// Times `read`, which reads the bytes and drops the result; false if it could not.
template <class Read>
void readPropertyLists(benchmark::State& state, const PropertyListSample& list, Read&& read) {
  for (auto _ : state) {
    const std::int64_t begin = nowNsec();
    if (!read(list.bytes)) state.SkipWithError("the list cannot be read");
    state.SetIterationTime(static_cast<double>(nowNsec() - begin) * 1e-9);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * list.bytes.size()));
}

}  // namespace bench

#define CORVANE_BENCH_PROPERTY_LIST(function, name)                                             \
  BENCHMARK_CAPTURE(function, xml, bench::xmlSample)->Name("plist.xml/" name)->UseManualTime(); \
  BENCHMARK_CAPTURE(function, binary, bench::binarySample)->Name("plist.binary/" name)->UseManualTime()
