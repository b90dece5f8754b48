#include "corvane/infra/values/PropertyList.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <vector>

#include "bench/log/Log.h"
#include "bench/values/PropertyList.h"

namespace bench {
namespace {

PropertyListSample sample(corvane::PropertyListFormat format, int records) {
  using corvane::Value;
  Value::Array list;
  for (int i = 0; i < records; ++i) {
    const std::string number = std::to_string(i);
    list.push_back(Value::Dictionary{
        {"identifier", "org.example.application." + number},
        {"title", "Record " + number + " <naïve & plain>"},
        {"count", std::int64_t{i} * 1'000'003},
        {"ratio", i / 7.0},
        {"enabled", i % 2 == 0},
        {"changed", corvane::Date{static_cast<double>(i) * 3600}},
        {"icon", corvane::Data{std::vector<std::uint8_t>(24, static_cast<std::uint8_t>(i))}},
        {"frame", Value::Array{std::int64_t{i}, std::int64_t{2} * i, std::int64_t{800}, std::int64_t{600}}},
    });
  }
  static const TemporaryFolder folder;
  PropertyListSample made{*corvane::writePropertyList(Value(std::move(list)), format),
                          folder.path() + "/" + std::to_string(records)};
  std::ofstream(made.path, std::ios::binary) << made.bytes;
  return made;
}

void corvaneReader(benchmark::State& state, const PropertyListSample& (*list)()) {
  readPropertyLists(state, list(),
                    [](const std::string& bytes) { return corvane::readPropertyList(bytes).has_value(); });
}

// In a process of its own, which measures its work and not its start.
void pythonReader(benchmark::State& state, const PropertyListSample& (*list)()) {
  const std::string command =
      "python3 -c 'import plistlib, sys, time\n"
      "data = open(sys.argv[1], \"rb\").read()\n"
      "begin = time.perf_counter()\n"
      "plistlib.loads(data)\n"
      "print(time.perf_counter() - begin)' " +
      list().path;
  for (auto _ : state) {
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
    double seconds = 0;
    if (!output || std::fscanf(output.get(), "%lf", &seconds) != 1) state.SkipWithError("no Python");
    state.SetIterationTime(seconds);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * list().bytes.size()));
}

}  // namespace

const PropertyListSample& xmlSample() {
  static const PropertyListSample made = sample(corvane::PropertyListFormat::XML, 19'000);
  return made;
}

const PropertyListSample& binarySample() {
  static const PropertyListSample made = sample(corvane::PropertyListFormat::BINARY, 50'000);
  return made;
}

namespace {

CORVANE_BENCH_PROPERTY_LIST(corvaneReader, "Corvane readPropertyList");
CORVANE_BENCH_PROPERTY_LIST(pythonReader, "Python plistlib");

}  // namespace
}  // namespace bench
