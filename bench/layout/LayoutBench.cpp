// The tidy layout of trees of many shapes and sizes: the counters are milliseconds of one layout (the median), by the
// number of nodes; and bytes of a node. The times are meaningless.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/Measure.h"
#include "tests/support/TreeShapes.h"

namespace {

using corvane::testing::makeTree;
using corvane::testing::treeShape;
using corvane::testing::TreeShape;

constexpr std::size_t SIZES[] = {1'000, 10'000, 100'000, 1'000'000};

// One for each size, up to the first that the candidate cannot lay out; an error if it cannot lay out any.
template <class MillisecondsOf>
void forSizes(benchmark::State& state, const std::string& shape, MillisecondsOf millisecondsOf) {
  for (auto _ : state) {
    std::string failure;
    for (const std::size_t size : SIZES) {
      const std::string text = millisecondsOf(treeShape(shape, size));
      char* end = nullptr;
      const double value = std::strtod(text.c_str(), &end);
      if (end == text.c_str()) {
        failure = text;
        break;
      }
      state.counters["nodes" + std::to_string(size)] = value;
    }
    if (state.counters.empty()) state.SkipWithError(failure.c_str());
    state.SetIterationTime(1);
  }
}

std::string ownMilliseconds(const TreeShape& shape) {
  const auto root = makeTree(shape);
  root->calculateNodePositions();
  bench::Samples samples;
  const std::int64_t begin = bench::nowNsec();
  while (samples.count() < 3 || bench::nowNsec() - begin < 150'000'000) {
    const std::int64_t start = bench::nowNsec();
    root->calculateNodePositions();
    samples.add(bench::nowNsec() - start);
  }
  return std::to_string(samples.usec(0.5) / 1000);
}

std::string peerMilliseconds(const std::string& library, const TreeShape& shape) {
  const std::filesystem::path folder = LAYOUT_PEERS;
  if (!exists(folder / "installed")) return "npm has not installed it";
  const auto file = std::filesystem::temp_directory_path() / ("layout-" + std::to_string(getpid()));
  const std::vector<std::uint32_t> parents(shape.begin(), shape.end());
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(parents.data()), static_cast<std::streamsize>(parents.size() * 4));
  std::string answer;
  const std::string command =
      "timeout 20 node '" + (folder / "layout.js").string() + "' " + library + " '" + file.string() + "'";
  if (FILE* output = popen(command.c_str(), "r")) {
    char text[256];
    while (std::fgets(text, sizeof text, output)) answer += text;
    pclose(output);
  }
  std::filesystem::remove(file);
  return answer.empty() ? "no result in 20 s" : answer;
}

void bytesOfANode(benchmark::State& state, const std::string& shape) {
  const auto used = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
  constexpr std::size_t COUNT = 1'000'000;
  for (auto _ : state) {
    const std::vector<std::size_t> parents = treeShape(shape, COUNT);
    const std::size_t before = used();
    const auto root = makeTree(parents);
    state.counters["bytes"] = static_cast<double>(used() - before) / COUNT;
    state.SetIterationTime(1);
  }
}

[[maybe_unused]] const bool REGISTERED = [] {
  for (const std::string& shape : corvane::testing::TREE_SHAPES) {
    const auto add = [](const std::string& name, auto function) {
      benchmark::RegisterBenchmark(name.c_str(), function)->Iterations(1)->UseManualTime();
    };
    add("layout." + shape + "/Corvane", [shape](benchmark::State& state) { forSizes(state, shape, ownMilliseconds); });
    for (const std::string library : {"d3-hierarchy", "d3-flextree", "non-layered-tidy-tree-layout"})
      add("layout." + shape + "/" + library, [=](benchmark::State& state) {
        forSizes(state, shape, [&library](const TreeShape& tree) { return peerMilliseconds(library, tree); });
      });
    add("layout.node/" + shape, [shape](benchmark::State& state) { bytesOfANode(state, shape); });
  }
  return true;
}();

}  // namespace
