#include "corvane/system/IOObject.h"

#include <gmock/gmock.h>

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
  return all.find("name") ? *all.find("name")->asString() : "?";
}

class IOObjectTest : public testing::Test {
 protected:
  IOObjectTest() {
    // Two ports, of which the second has two disks; "Thing" also matches a device and its child.
    m_registry.devices = {{"port", {}, {{"name", "a"}}}, {"port", {}, {{"name", "b"}}}};
    m_registry.devices[1].children = {{"disk", {"Thing"}, {{"name", "b1"}}}, {"disk", {}, {{"name", "b2"}}}};
    m_registry.devices[1].children[0].children = {{std::string("p\377art\0x", 7), {"Thing"}, {{"name", "b1x"}}}};
  }
  ~IOObjectTest() override { EXPECT_EQ(m_registry.references() + m_registry.overReleases(), 0U); }

  FakePlatform m_fake;
  FakeDeviceRegistry& m_registry = *m_fake.deviceRegistry;
};

TEST_F(IOObjectTest, SearchesUpwardsUntilTheCallerIsContent) {
  const struct {
    const char* className;
    const char* content;  // the devices that end the way up
    Names visits;
  } rows[] = {{"disk", "", {"b1", "b", "b2", "b"}},
              {"disk", "b1", {"b1", "b2", "b"}},
              {"Thing", "", {"b1", "b", "b1x", "b1", "b"}},
              {"Thing", "b1", {"b1", "b1x", "b1"}},
              {"port", "", {"a", "b"}},
              {"nothing", "", {}}};
  for (const auto& row : rows) {
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
    held.push_back(m_registry.references());
    kept.push_back(std::move(object));
  });
  EXPECT_THAT(held, ElementsAre(3, 3)) << "two disks and a copy, then the kept one, the last one and its copy";
  kept[0] = kept[1];
  EXPECT_EQ(kept[0].ioObject(), kept[1].ioObject());
  kept[0].findChild([](const IOObject&) { ADD_FAILURE() << "below a leaf"; });
  kept[0].findParent([&](const IOObject& parent) {
    EXPECT_EQ(nameOf(parent), "b");
    parent.findChild([](const IOObject& child) { EXPECT_EQ(nameOf(child), "b1"); });
    parent.findParent([](const IOObject&) { ADD_FAILURE() << "above the root"; });
  });
  EXPECT_ANY_THROW(IOObject::searchServices("disk", [](const IOObject&) -> bool { throw std::runtime_error("stop"); }));
  EXPECT_EQ(m_registry.references(), 2U);
}

TEST_F(IOObjectTest, AnswersEmptyForWhatIsGoneOrMissing) {
  setLogSink(&SINK);
  std::vector<std::optional<std::string>> names;
  IOObject::searchServices("Thing", [&](const IOObject& object) {
    names.push_back(object.ioClassName());
    m_registry.devices[1].gone = names.size() == 3;
    return false;
  });
  EXPECT_THAT(names, ElementsAre("disk", "port", "p\uFFFDart")) << "and nothing above what is gone";
  EXPECT_THAT(s_log, ElementsAre());

  const IOObject empty;
  EXPECT_TRUE(empty.isEmpty() && empty.properties().empty() && empty.displayInfo().empty() && !empty.className());
  empty.findChild([](const IOObject&) { ADD_FAILURE() << "below nothing"; });

  m_registry.error = Error{"posix", 2, "/sys is missing"};
  IOObject::iterateServices("port", [](const IOObject&) { ADD_FAILURE() << "from no registry"; });
  EXPECT_THAT(s_log, ElementsAre("IOObject: /sys is missing"));
  setLogSink(nullptr);
}

}  // namespace
}  // namespace corvane
