#include "corvane/system/PartitionType.h"

#include <gtest/gtest.h>

#include "corvane/testing/FakePlatform.h"

namespace corvane {
namespace {

using Device = FakeDeviceRegistry::Device;
using Names = std::vector<std::string>;

TEST(PartitionTypeTest, NamesContents) {
  const PartitionType types;
  const std::string_view rows[][3] = {
      {types.contentAppleAPFS(), "Apple_APFS", "7C3457EF-0000-11AA-AA11-00306543ECAC"},
      {types.contentAppleBOOT(), "Apple_Boot", "426F6F74-0000-11AA-AA11-00306543ECAC"},
      {types.contentEFISystem(), "EFI", "C12A7328-F81F-11D2-BA4B-00A0C93EC93B"},
      {types.contentHFS(), "Apple_HFS", "48465300-0000-11AA-AA11-00306543ECAC"},
      {types.contentLinuxData(), "Linux Filesystem", "0FC63DAF-8483-4772-8E79-3D69D8477DE4"},
      {types.contentLinuxSWAP(), "Linux Swap", "0657FD6D-A4AB-43C4-84E5-0933C84B4F4F"},
      {types.contentMSBasicData(), "Microsoft Basic Data", "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7"},
      {types.contentMSReserved(), "Microsoft Reserved", "E3C9E316-0B5C-4DB8-817D-F92DF00215AE"},
      {types.contentWindowsNTFS(), "Windows_NTFS", "Windows_NTFS"},
      {types.contentWindowsRecovery(), "Windows Recovery", "DE94BBA4-06D1-4D40-A16A-BFD50179D6AC"}};
  for (const auto& [content, description, value] : rows) {
    EXPECT_EQ(content, value);
    EXPECT_EQ(types.description(content), description);
    EXPECT_EQ(types.typeName(content), description);
  }
  const std::string_view others[][2] = {{"0fc63daf-8483-4772-8e79-3d69d8477de4", "Linux Filesystem"},
                                        {"4f68bce3-e8cd-4db1-96e7-fbcaf984b709", "Linux Root (x86-64)"},
                                        {"E6D6D379-F507-44C2-A23C-238F2A3DF928", "Linux LVM"},
                                        {"0xF", "Extended (LBA)"},
                                        {"0x8e8e", "Unknown"},
                                        {"0x8eg", "Unknown"},
                                        {"0x", "Unknown"},
                                        {"", "Unknown"}};
  for (const auto& [content, name] : others) {
    EXPECT_EQ(types.description(content), "Unknown") << content;
    EXPECT_EQ(types.typeName(content), name) << content;
  }
}

constexpr char APFS[] = "7C3457EF-0000-11AA-AA11-00306543ECAC";

Device medium(const char* name, Value whole, const char* content, std::vector<Device> children = {}) {
  return {
      "IOMedia", {}, {{"BSD Name", name}, {"BSD Unit", 1}, {"Whole", whole}, {"Content", content}}, false, children};
}

Device container(const char* name, const char* ioClass = "AppleAPFSMedia", const char* ownClass = "AppleAPFSMedia") {
  return {ownClass, {"AppleAPFSMedia"}, {{"BSD Name", name}, {"IOClass", ioClass}}};
}

Device scheme(Device inside, const char* className = "AppleAPFSContainerScheme") {
  return {className, {}, {}, false, {inside}};
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
      {"no name", {medium("", 0, APFS, {container("c")}), medium("a", 0, APFS, {scheme(container(""))})}, {}, {}},
      {"another IOClass", {medium("a", 0, APFS, {container("c", "AppleAPFSVolume")})}, {}, {}},
      {"another class", {medium("a", 0, APFS, {container("c", "AppleAPFSMedia", "AppleAPFSVolume")})}, {}, {}},
      {"another scheme", {medium("a", 0, APFS, {scheme(container("c"), "IOPartitionScheme")})}, {}, {}},
      {"a scheme too deep", {medium("a", 0, APFS, {scheme(scheme(container("c")))}), container("d")}, {}, {}}};
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
