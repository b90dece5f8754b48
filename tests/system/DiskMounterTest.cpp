#include "corvane/system/DiskMounter.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <thread>

#include "corvane/core/Log.h"
#include "corvane/core/MainQueue.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using Call = FakeDiskService::Call;

std::vector<std::string> s_log;
constexpr LogSink SINK = {[](std::string_view line) { s_log.emplace_back(line); }, [] { return true; }};

struct DiskMounterTest : testing::Test {
  DiskMounterTest() {
    setLogSink(&SINK);
    disks.devices = {"sda", "sda1"};
  }
  ~DiskMounterTest() override { setLogSink(nullptr); }

  TempHome home;
  FakePlatform fake;
  FakeDiskService& disks = *fake.diskService;
  DiskMounter mounter{"a.b"};
};

TEST_F(DiskMounterTest, PassesOptionsOn) {
  EXPECT_TRUE(mounter.mount("sda1", false) && mounter.mount("sda", true));
  EXPECT_TRUE(mounter.unmount("sda1", false, false) && mounter.unmount("sda1", false, true));
  EXPECT_TRUE(mounter.unmount("sda", true, false) && mounter.unmount("sda", true, true));
  EXPECT_EQ(disks.calls(), (std::vector<Call>{{"mount", "sda1", 0},
                                              {"mount", "sda", 1},
                                              {"unmount", "sda1", 0},
                                              {"unmount", "sda1", 0x80000},
                                              {"unmount", "sda", 1},
                                              {"unmount", "sda", 0x80001}}));
}

TEST_F(DiskMounterTest, ExplainsTheLastRequestOnly) {
  const Error busy = {"service", 16, "sda1 is in use by cat"};
  struct {
    std::optional<Error> error, refusal, dissent;
    const char* device;
    bool mounts;
    std::string message, detail;
  } rows[] = {
      {{}, {}, {}, "nosuch", true, "", "There is no device nosuch"},
      {{}, {}, busy, "sda1", true, "Cannot mount device: /dev/sda1", busy.description},
      {{}, {}, busy, "sda", false, "Cannot unmount device: /dev/sda", busy.description},
      {busy, {}, {}, "sda1", true, "Cannot unmount device: /dev/sda", busy.description},
      {{}, {}, {}, "nosuch", true, "Cannot unmount device: /dev/sda", "There is no device nosuch"},
      {{}, {}, {}, "sda1", true, "", ""},
      {{}, busy, {}, "sda1", true, "Cannot mount device: /dev/sda1", busy.description},
      {{}, {}, {}, "sda1", false, "", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.device << " " << row.detail);
    disks.error = row.error;
    disks.refusal = row.refusal;
    disks.dissent = row.dissent;
    s_log.clear();
    const bool done = row.mounts ? mounter.mount(row.device, false) : mounter.unmount(row.device, false, false);
    EXPECT_EQ(done, row.detail.empty());
    EXPECT_EQ(mounter.errorMessage(), row.message);
    EXPECT_EQ(mounter.errorDetail(), row.detail);
    EXPECT_EQ(s_log.size(), done ? 0u : 1u);
  }
}

TEST_F(DiskMounterTest, ComplainsInTheUsersLanguage) {
  ASSERT_EQ(std::system(("localedef -i en_US -f UTF-8 " + home / "en_US.UTF-8").c_str()), 0);
  for (const auto& [name, value] :
       {std::pair("LOCPATH", home.path().c_str()), {"LC_ALL", "en_US.UTF-8"}, {"LANGUAGE", "de"}})
    home.set(name, value);
  disks.dissent = Error{};
  EXPECT_FALSE(mounter.mount("sda1", false));
  EXPECT_EQ(mounter.errorMessage(), "Gerät kann nicht eingehängt werden: /dev/sda1");
  EXPECT_FALSE(mounter.unmount("sda1", false, false));
  EXPECT_EQ(mounter.errorMessage(), "Gerät kann nicht ausgehängt werden: /dev/sda1");
}

TEST_F(DiskMounterTest, WaitsOnAnyThreadForTheAnswerOnItsQueue) {
  std::vector<std::string> queues;
  disks.beforeAnswer = [&] {
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    queues.emplace_back(name);
    EXPECT_FALSE(IsMainQueue());
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(mounter.errorMessage(), "");
  };
  ASSERT_TRUE(IsMainQueue());
  EXPECT_TRUE(mounter.mount("sda1", false));
  std::thread([this] { EXPECT_TRUE(mounter.unmount("sda1", false, false)); }).join();
  EXPECT_EQ(queues, (std::vector<std::string>{"a.b.mount", "a.b.unmount"}));
}

}  // namespace
}  // namespace corvane
