// disks: lists disks and partitions, and mounts and unmounts them.

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "corvane/system/DiskMounter.h"
#include "corvane/system/IOObject.h"
#include "corvane/system/PartitionType.h"

using corvane::DiskMounter;
using corvane::IOObject;
using corvane::Value;

namespace {

constexpr const char* USAGE =
    "Usage: disks                  list disks and partitions\n"
    "       disks mount DEVICE     mount a partition: disks mount sdb1\n"
    "       disks unmount DEVICE   unmount it\n";

std::string text(const Value& properties, const char* key) {
  const Value* const value = properties.find(key);
  return value && value->isString() ? *value->asString() : "";
}

std::int64_t number(const Value& properties, const char* key) {
  const Value* const value = properties.find(key);
  return value && value->isInteger() ? *value->asInteger() : 0;
}

void list() {
  const corvane::PartitionType types;
  IOObject::iterateServices("IOMedia", [&](const IOObject& medium) {
    const Value properties = medium.properties();
    const std::string name = text(properties, "BSD Name");
    if (name.empty() || number(properties, "Size") == 0) return;  // it is gone, or there is no medium in the drive
    std::printf("%s%-12s %10.1f MiB  %-20s", number(properties, "Whole") != 0 ? "" : "  ", name.c_str(),
                static_cast<double>(number(properties, "Size")) / (1 << 20),
                types.typeName(text(properties, "Content")).c_str());
    for (const std::string& folder : DiskMounter::mountPoints(name)) std::printf("  %s", folder.c_str());
    std::puts("");
  });
}

// Blocks until it is done: an application with a window does this on a queue.
int mount(const std::string& device, bool wanted) {
  DiskMounter mounter("org.example.Disks");
  const bool done = wanted ? mounter.mount(device, false) : mounter.unmount(device, false, false);
  if (!done) {
    std::fprintf(stderr, "disks: %s\n", mounter.errorDetail().c_str());
    return 1;
  }
  for (const std::string& folder : DiskMounter::mountPoints(device)) std::printf("%s\n", folder.c_str());
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view what = count > 1 ? arguments[1] : "";
  if (what == "--help") return std::fputs(USAGE, stdout) < 0;
  if (count == 1) return list(), 0;
  if (count == 3 && (what == "mount" || what == "unmount")) return mount(arguments[2], what == "mount");
  std::fputs(USAGE, stderr);
  return 2;
}
