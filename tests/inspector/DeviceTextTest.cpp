#include "apps/inspector/text/DeviceText.h"

#include <gtest/gtest.h>

#include "corvane/testing/FakePlatform.h"

namespace corvane::inspector {
namespace {

TEST(DeviceTextTest, ShowsDevicesAndWhatTheyAreAttachedTo) {
  FakePlatform fake;
  fake.deviceRegistry->devices = {
      {.className = "pci",
       .properties = {{"DEVPATH", "/port"}, {"IOClass", "pci"}, {"DRIVER", "ahci"}},
       .children = {{.className = "disk",
                     .properties = {{"DEVPATH", "/port/sda"},
                                    {"BSD Name", "sda"},
                                    {"IOClass", "disk"},
                                    {"Size", 3 << 20},
                                    {"Content", "0x8e"},
                                    {"ID_MODEL", "A\x1B\xFF"}},
                     .children = {{.alsoMatches = {"disk"},
                                   .properties = {{"Key", Data{std::vector<std::uint8_t>(17, 0xAB)}}}}}}}},
      {.className = "net"}};
  const auto rows = deviceTree("disk");
  EXPECT_EQ(deviceTable(rows, true, Glyphs::ASCII, 38),
            "Device  Class  Driver  Description\n"
            "port    pci    ahci\n"
            "  sda   disk           3.0 MiB Linux L\n"
            "      BSD Name = sda\n"
            "      Content = 0x8e\n"
            "      DEVPATH = /port/sda\n"
            "      ID_MODEL = A??\n"
            "      IOClass = disk\n"
            "      Size = 3145728\n"
            "    ?\n"
            "        Key = abababababababababababab\n");
  EXPECT_EQ(deviceDescription(rows[1]), "3.0 MiB Linux LVM, A\x1B\xFF");
  EXPECT_EQ(deviceObject(rows[1]),
            R"({"name":"sda","class":"disk","path":"/port/sda","parent":"/port","properties":{"BSD Name":"sda",)"
            R"("Content":"0x8e","DEVPATH":"/port/sda","ID_MODEL":"A\u001b)"
            "\uFFFD"
            R"(","IOClass":"disk","Size":3145728},)"
            R"("display":null})");
  EXPECT_EQ(fake.deviceRegistry->references(), 0U);
}

}  // namespace
}  // namespace corvane::inspector
