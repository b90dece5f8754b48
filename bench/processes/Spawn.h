#pragma once

#include <benchmark/benchmark.h>
#include <sys/mman.h>

#include <cstddef>
#include <string>

namespace bench {

/// Memory that is resident for a scope, in pages of the common size.
class Resident {
 public:
  explicit Resident(std::size_t bytes)
      : m_bytes(bytes), m_memory(mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
    madvise(m_memory, bytes, MADV_NOHUGEPAGE);
    for (std::size_t at = 0; at < bytes; at += 4096) static_cast<volatile char*>(m_memory)[at] = 1;
  }
  ~Resident() { munmap(m_memory, m_bytes); }
  Resident(const Resident&) = delete;
  Resident& operator=(const Resident&) = delete;

 private:
  const std::size_t m_bytes;
  void* const m_memory;
};

/// Registers spawn.small/CANDIDATE and spawn.large/CANDIDATE: `run` starts /bin/true, takes its empty output and waits.
template <class Run>
void spawns(const char* candidate, Run run) {
  const struct {
    const char* path;
    std::size_t bytes;
  } rows[] = {{"spawn.small/", std::size_t{10} << 20}, {"spawn.large/", std::size_t{1} << 30}};
  for (const auto& row : rows)
    benchmark::RegisterBenchmark((std::string(row.path) + candidate).c_str(),
                                 [run, bytes = row.bytes](benchmark::State& state) {
                                   const Resident resident(bytes);
                                   for (auto _ : state)
                                     if (!run()) state.SkipWithError("not run");
                                 })
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
}

}  // namespace bench
