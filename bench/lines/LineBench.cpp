#include <benchmark/benchmark.h>
#include <stdio.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "bench/Measure.h"
#include "bench/log/Log.h"
#include "corvane/infra/LineReader.h"

namespace {

constexpr std::size_t FILE_BYTES = std::size_t{1} << 30;

// Resident size of the process, in bytes.
double residentBytes() {
  long pages = 0;
  if (const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen("/proc/self/statm", "r"), fclose); file)
    if (fscanf(file.get(), "%*d %ld", &pages) != 1) pages = 0;
  return static_cast<double>(pages * sysconf(_SC_PAGESIZE));
}

// A gibibyte of lines of 20 to 180 bytes, one in ten of them beyond ASCII, read once so that the kernel has it at hand.
std::string makeFile(const bench::TemporaryFolder& folder) {
  std::string block;
  for (std::size_t i = 0; block.size() < (1U << 20) - 256; ++i) {
    block.append(20 + i * 37 % 160, static_cast<char>('a' + i % 26));
    if (i % 10 == 0) block += "\u00e4\u20ac";
    block += '\n';
  }
  block.append((1U << 20) - block.size() - 1, '-').append(1, '\n');
  const std::string path = folder.path() + "/lines";
  std::ofstream file(path, std::ios::binary);
  for (std::size_t written = 0; written < FILE_BYTES; written += block.size())
    file.write(block.data(), static_cast<std::streamsize>(block.size()));
  return path;
}

// Reads the file by `readAll(path)`, which gives the count of its bytes; the figures are for a MiB.
template <class ReadAll>
void measure(benchmark::State& state, ReadAll readAll) {
  const bench::TemporaryFolder folder;
  const std::string path = makeFile(folder);
  for (auto _ : state) {
    const double before = residentBytes();
    const std::int64_t begin = bench::nowNsec();
    if (readAll(path) != FILE_BYTES) state.SkipWithError("bytes are missing");
    state.SetIterationTime(static_cast<double>(bench::nowNsec() - begin) * 1e-9 / 1024);
    // What reading added to it.
    state.counters["rss"] = residentBytes() - before;
  }
}

void corvaneLines(benchmark::State& state) {
  measure(state, [](const std::string& path) {
    std::size_t bytes = 0;
    corvane::LineReader reader(path);
    while (const auto line = reader.readline()) bytes += line->size();
    return bytes;
  });
}

void standardLines(benchmark::State& state) {
  measure(state, [](const std::string& path) {
    std::size_t bytes = 0;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) bytes += line.size() + 1;
    return bytes;
  });
}

void bareLines(benchmark::State& state) {
  measure(state, [](const std::string& path) {
    std::size_t bytes = 0;
    char line[1024];
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "r"), fclose);
    while (fgets(line, sizeof line, file.get())) bytes += std::strlen(line);
    return bytes;
  });
}

BENCHMARK(corvaneLines)->Name("lines/Corvane LineReader")->Iterations(1)->UseManualTime();
BENCHMARK(standardLines)->Name("lines/std::getline")->Iterations(1)->UseManualTime();
BENCHMARK(bareLines)->Name("lines/fgets")->Iterations(1)->UseManualTime();

}  // namespace
