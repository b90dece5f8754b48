#include "corvane/system/PartitionType.h"

#include <gtest/gtest.h>

#include "corvane/testing/FakePlatform.h"

namespace corvane {
namespace {

using Device = FakeDeviceRegistry::Device;
using Names = std::vector<std::string>;

TEST(PartitionTypeTest, NamesContents) {
  const PartitionType types;
  const struct {
    std::string_view content;
    const char* description;
    const char* typeName;
  } rows[] = {
      {types.contentAppleAPFS(), "Apple_APFS", "Apple_APFS"},
      {types.contentAppleBOOT(), "Apple_Boot", "Apple_Boot"},
      {types.contentEFISystem(), "EFI", "EFI"},
      {types.contentHFS(), "Apple_HFS", "Apple_HFS"},
      {types.contentLinuxData(), "Linux Filesystem", "Linux Filesystem"},
      {types.contentLinuxSWAP(), "Linux Swap", "Linux Swap"},
      {types.contentMSBasicData(), "Microsoft Basic Data", "Microsoft Basic Data"},
      {types.contentMSReserved(), "Microsoft Reserved", "Microsoft Reserved"},
      {"Windows_NTFS", "Windows_NTFS", "Windows_NTFS"},
      {types.contentWindowsRecovery(), "Windows Recovery", "Windows Recovery"},
      {"0fc63daf-8483-4772-8e79-3d69d8477de4", "Unknown", "Linux Filesystem"},
      {"4f68bce3-e8cd-4db1-96e7-fbcaf984b709", "Unknown", "Linux Root (x86-64)"},
      {"E6D6D379-F507-44C2-A23C-238F2A3DF928", "Unknown", "Linux LVM"},
      {"0x8e", "Unknown", "Linux LVM"},
      {"0xF", "Unknown", "Extended (LBA)"},
      {"0x8e8e", "Unknown", "Unknown"},
      {"0x8eg", "Unknown", "Unknown"},
      {"0x", "Unknown", "Unknown"},
      {"FDisk_partition_scheme", "Unknown", "MBR Partition Table"},
      {"", "Unknown", "Unknown"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(types.description(row.content), row.description) << row.content;
    EXPECT_EQ(types.typeName(row.content), row.typeName) << row.content;
  }
}

constexpr char APFS[] = "7C3457EF-0000-11AA-AA11-00306543ECAC";

Device medium(const char* name, Value whole, const char* content, std::vector<Device> children = {}) {
  return {.className = "IOMedia",
          .properties = {{"BSD Name", name}, {"BSD Unit", 1}, {"Whole", std::move(whole)}, {"Content", content}},
          .children = std::move(children)};
}

Device container(const char* name, const char* ioClass = "AppleAPFSMedia", std::string ownClass = "AppleAPFSMedia") {
  return {.className = std::move(ownClass),
          .alsoMatches = {"AppleAPFSMedia"},
          .properties = {{"BSD Name", name}, {"IOClass", ioClass}}};
}

Device scheme(Device inside, const char* className = "AppleAPFSContainerScheme") {
  return {.className = className, .children = {std::move(inside)}};
}

TEST(PartitionTypeTest, FindsContainersByTheirPartition) {
  const struct {
    const char* what;
    std::vector<Device> devices;
    Names ofUnit, ofPartition;  // of the unit 1, and of "a"
  } rows[] = {
      {"two partitions, a child and a child of a scheme",
       {medium("a", 0, APFS, {container("c1")}), medium("b", 0, APFS, {scheme(container("c2"))})},
       {"c1", "c2"},
       {"c1"}},
      {"a truth value", {medium("a", false, APFS, {container("c")})}, {"c"}, {"c"}},
      {"a whole disk", {medium("a", 1, APFS, {container("c")})}, {}, {}},
      {"neither whole nor not", {medium("a", "0", APFS, {container("c")})}, {}, {}},
      {"another content", {medium("a", 0, "48465300-0000-11AA-AA11-00306543ECAC", {container("c")})}, {}, {}},
      {"a GUID in lower case", {medium("a", 0, "7c3457ef-0000-11aa-aa11-00306543ecac", {container("c")})}, {}, {}},
      {"a partition without a name", {medium("", 0, APFS, {container("c")})}, {}, {}},
      {"a container without a name", {medium("a", 0, APFS, {scheme(container(""))})}, {}, {}},
      {"another IOClass", {medium("a", 0, APFS, {container("c", "AppleAPFSVolume")})}, {}, {}},
      {"another class", {medium("a", 0, APFS, {container("c", "AppleAPFSMedia", "AppleAPFSVolume")})}, {}, {}},
      {"another scheme", {medium("a", 0, APFS, {scheme(container("c"), "IOPartitionScheme")})}, {}, {}},
      {"a scheme too deep", {medium("a", 0, APFS, {scheme(scheme(container("c")))})}, {}, {}},
      {"a container on its own", {medium("a", 0, APFS), container("c")}, {}, {}},
  };
  FakePlatform fake;
  for (const auto& row : rows) {
    fake.deviceRegistry->devices = row.devices;
    EXPECT_EQ(PartitionType().apfsContainers(1), row.ofUnit) << row.what;
    EXPECT_EQ(PartitionType().apfsContainers("a"), row.ofPartition) << row.what;
    EXPECT_EQ(PartitionType().apfsContainers(2), Names()) << row.what;
    EXPECT_EQ(fake.deviceRegistry->references(), 0U) << row.what;
  }
}

}  // namespace
}  // namespace corvane
