#include <benchmark/benchmark.h>
#include <libudev.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>
#include <vector>

#include "corvane/system/Edid.h"
#include "corvane/system/IOObject.h"

namespace {

// Every property of the devices of a class; returns the number of devices.
long corvaneDevices(const char* className) {
  long count = 0;
  corvane::IOObject::iterateServices(className, [&](const corvane::IOObject& device) {
    benchmark::DoNotOptimize(device.properties());
    ++count;
  });
  return count;
}

struct Unref {
  void operator()(udev* context) const { udev_unref(context); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
  void operator()(udev_enumerate* list) const { udev_enumerate_unref(list); }
};

void readMedium(udev_device* device) {
  for (const char* const name : {"size", "ro", "partition"})
    benchmark::DoNotOptimize(udev_device_get_sysattr_value(device, name));
  const bool whole = std::strcmp(udev_device_get_devtype(device), "disk") == 0;
  udev_device* const disk = whole ? device : udev_device_get_parent_with_subsystem_devtype(device, "block", "disk");
  for (const char* const name : {"removable", "queue/logical_block_size"})
    benchmark::DoNotOptimize(disk ? udev_device_get_sysattr_value(disk, name) : nullptr);
}

// The same, read but not stored.
long bareDevices(const char* subsystem) {
  const std::unique_ptr<udev, Unref> context(udev_new());
  const std::unique_ptr<udev_enumerate, Unref> list(udev_enumerate_new(context.get()));
  if (subsystem) udev_enumerate_add_match_subsystem(list.get(), subsystem);
  udev_enumerate_scan_devices(list.get());
  long count = 0;
  for (auto* entry = udev_enumerate_get_list_entry(list.get()); entry; entry = udev_list_entry_get_next(entry)) {
    const std::unique_ptr<udev_device, Unref> device(
        udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
    if (!device) continue;
    ++count;
    for (auto* property = udev_device_get_properties_list_entry(device.get()); property;
         property = udev_list_entry_get_next(property))
      benchmark::DoNotOptimize(udev_list_entry_get_value(property));
    benchmark::DoNotOptimize(udev_device_get_driver(device.get()));
    const char* const found = udev_device_get_subsystem(device.get());
    if (found && std::strcmp(found, "block") == 0) readMedium(device.get());
  }
  return count;
}

long lsblk() {
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen("lsblk --json --all --output-all", "r"), pclose);
  long lines = 0;
  for (int character; output && (character = std::getc(output.get())) != EOF;) lines += character == '\n' ? 1 : 0;
  return lines;
}

template <class List>
void lists(benchmark::State& state, List list) {
  long count = 0;
  for (auto _ : state) {
    count = list();
    if (count <= 0) state.SkipWithError("no devices");
  }
  state.counters["devices"] = static_cast<double>(count);
}

void edid(benchmark::State& state) {
  std::vector<std::uint8_t> block(128);
  std::fill(block.begin() + 1, block.begin() + 7, std::uint8_t{0xFF});
  std::memcpy(&block[54], "\0\0\0\xFC\0Product name\n\0\0\0\xFF\0Serial       ", 36);
  block[127] = static_cast<std::uint8_t>(-std::accumulate(block.begin(), block.end(), 0));
  for (auto _ : state) {
    auto parsed = corvane::parseEdid(block);
    if (!parsed) state.SkipWithError("refused");
    benchmark::DoNotOptimize(parsed);
  }
}

BENCHMARK_CAPTURE(lists, corvane, [] {
  return corvaneDevices("block");
})->Name("devices.block/Corvane iterateServices");
BENCHMARK_CAPTURE(lists, bare, [] { return bareDevices("block"); })->Name("devices.block/libudev");
BENCHMARK_CAPTURE(lists, lsblk, lsblk)->Name("devices.block/lsblk --json")->UseRealTime();
BENCHMARK_CAPTURE(lists, corvane, [] {
  return corvaneDevices("IOService");
})->Name("devices.all/Corvane iterateServices");
BENCHMARK_CAPTURE(lists, bare, [] { return bareDevices(nullptr); })->Name("devices.all/libudev");
BENCHMARK(edid)->Name("edid/Corvane parseEdid");

}  // namespace
