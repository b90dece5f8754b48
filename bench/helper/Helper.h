#pragma once

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/Measure.h"
#include "tests/support/PrivateBus.h"

namespace bench {

inline constexpr const char* LABEL = "org.corvane.bench";

/// A bus of this process's own, on which a real helper returns each request as its reply.
class EchoBus {
 public:
  EchoBus() : m_bus(folder()) {}
  ~EchoBus() { std::filesystem::remove_all(m_folder); }
  EchoBus(const EchoBus&) = delete;
  EchoBus& operator=(const EchoBus&) = delete;

  const char* address() const { return m_bus.address(); }

 private:
  const std::string& folder() {
    std::ofstream(m_folder + "/helper.service")
        << "[D-BUS Service]\nName=" << LABEL << "\nExec=" << BENCH_HELPER << " " << LABEL << "\n";
    return m_folder;
  }

  OneProcessor m_processor;  // of the bus and the helper too
  std::string m_template = std::filesystem::temp_directory_path() / "corvane-bench-XXXXXX";
  const std::string m_folder = mkdtemp(m_template.data());
  corvane::PrivateBus m_bus;
};

/// Measures `exchange()`, which sends {"text": "hello", "number": NUMBER} and returns the reply's number.
inline constexpr std::int64_t NUMBER = 4711;

template <class Exchange>
void exchanges(benchmark::State& state, Exchange&& exchange) {
  for (auto _ : state)
    if (exchange() != NUMBER) return state.SkipWithError("no reply");
}

}  // namespace bench
