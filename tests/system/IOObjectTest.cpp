#include "corvane/system/IOObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "corvane/core/Log.h"
#include "corvane/testing/FakePlatform.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using Names = std::vector<std::string>;

Names s_log;
constexpr LogSink SINK = {[](std::string_view line) { s_log.emplace_back(line); }, [] { return true; }};

std::string nameOf(const IOObject& object) {
  const Value all = object.properties();
  const Value* const name = all.find("name");
  return name ? *name->asString() : "?";
}

class IOObjectTest : public testing::Test {
 protected:
  IOObjectTest() {
    // Two ports, of which the second has two disks; "Thing" also matches a device and its child.
    m_devices = {{.className = "port", .properties = {{"name", "a"}}},
                 {.className = "port",
                  .properties = {{"name", "b"}},
                  .children = {{.className = "disk",
                                .alsoMatches = {"Thing"},
                                .properties = {{"name", "b1"}},
                                .children = {{.alsoMatches = {"Thing"}, .properties = {{"name", "b1x"}}}}},
                               {.className = "disk", .properties = {{"name", "b2"}}}}}};
  }
  ~IOObjectTest() override {
    EXPECT_EQ(registry().references(), 0U);
    EXPECT_EQ(registry().overReleases(), 0U);
  }
  FakeDeviceRegistry& registry() { return *m_fake.deviceRegistry; }

  FakePlatform m_fake;
  std::vector<FakeDeviceRegistry::Device>& m_devices = m_fake.deviceRegistry->devices;
};

TEST_F(IOObjectTest, SearchesUpwardsUntilTheCallerIsContent) {
  struct Row {
    const char* className;
    const char* content;  // the devices that end the way up
    Names visits;
  };
  for (const Row& row : {Row{"disk", "", {"b1", "b", "b2", "b"}},
                         {"disk", "b1", {"b1", "b2", "b"}},
                         {"disk", "b", {"b1", "b", "b2", "b"}},
                         {"Thing", "", {"b1", "b", "b1x", "b1", "b"}},
                         {"Thing", "b1", {"b1", "b1x", "b1"}},
                         {"port", "", {"a", "b"}},
                         {"nothing", "", {}}}) {
    Names visits;
    IOObject::searchServices(row.className, [&](const IOObject& object) {
      visits.push_back(nameOf(object));
      return visits.back() == row.content;
    });
    EXPECT_EQ(visits, row.visits) << row.className << " until " << row.content;
  }
}

TEST_F(IOObjectTest, OwnsExactlyOneReferenceAndReleasesItAfterItsTurn) {
  std::vector<std::size_t> held;
  std::vector<IOObject> kept;
  IOObject::iterateServices("disk", [&](IOObject object) {
    held.push_back(registry().references());
    kept.push_back(std::move(object));
  });
  EXPECT_THAT(held, ElementsAre(3, 3)) << "two disks and a copy, then the kept one, the last one and its copy";
  EXPECT_EQ(registry().references(), 2U);
  kept[0] = kept[1];
  EXPECT_EQ(kept[0].ioObject(), kept[1].ioObject());
  kept[0].findParent([&](const IOObject& parent) {
    EXPECT_EQ(nameOf(parent), "b");
    parent.findChild([](const IOObject& child) { EXPECT_EQ(nameOf(child), "b1"); });
    kept.push_back(parent);
  });
  kept[2].findParent([](const IOObject&) { ADD_FAILURE() << "above the root"; });
  kept[0].findChild([](const IOObject&) { ADD_FAILURE() << "below a leaf"; });
  EXPECT_THROW(IOObject::searchServices("disk", [](const IOObject&) -> bool { throw std::runtime_error("stop"); }),
               std::runtime_error);
  EXPECT_EQ(registry().references(), 3U);
}

TEST_F(IOObjectTest, AnswersEmptyForWhatIsGoneOrMissing) {
  setLogSink(&SINK);
  Names visits;
  IOObject::searchServices("disk", [&](const IOObject& object) {
    visits.push_back(nameOf(object));
    m_devices[1].gone = true;  // during the call for the first one
    object.findParent([](const IOObject&) { ADD_FAILURE() << "above what is gone"; });
    EXPECT_EQ(object.className(), std::nullopt);
    return false;
  });
  EXPECT_THAT(visits, ElementsAre("b1", "?"));
  EXPECT_TRUE(s_log.empty()) << s_log[0];

  const IOObject empty;
  EXPECT_TRUE(empty.isEmpty() && empty.properties().empty() && empty.displayInfo().empty());
  EXPECT_EQ(empty.ioClassName(), std::nullopt);
  empty.findChild([](const IOObject&) { ADD_FAILURE() << "below nothing"; });

  registry().error = Error{"posix", 2, "/sys is missing"};
  IOObject::iterateServices("port", [](const IOObject&) { ADD_FAILURE() << "from no registry"; });
  EXPECT_THAT(s_log, ElementsAre("IOObject: /sys is missing"));
  setLogSink(nullptr);
}

TEST_F(IOObjectTest, RepairsClassNames) {
  m_devices = {{.className = std::string("d\xFFisk\0rest", 10), .alsoMatches = {"any"}}, {.alsoMatches = {"any"}}};
  std::vector<std::optional<std::string>> names;
  IOObject::iterateServices("any", [&](const IOObject& object) { names.push_back(object.ioClassName()); });
  EXPECT_THAT(names, ElementsAre("d\uFFFDisk", std::nullopt));
}

}  // namespace
}  // namespace corvane
