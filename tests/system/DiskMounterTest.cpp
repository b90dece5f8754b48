#include "corvane/system/DiskMounter.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <ranges>
#include <sstream>

#include "corvane/core/MainQueue.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

TEST(DiskMounter, PassesRequestsOnAndExplainsTheLastOne) {
  TempHome home;
  home.set("LC_ALL", "C");
  FakePlatform fake;
  FakeDiskService& disks = *fake.diskService;
  disks.devices = {"sda", "sda1"};
  DiskMounter mounter("a.b");
  char queue[16] = "";
  disks.beforeAnswer = [&] {
    EXPECT_FALSE(IsMainQueue());
    EXPECT_EQ(mounter.errorMessage(), "");
    pthread_getname_np(pthread_self(), queue, sizeof queue);
  };
  // The outcome, what is to be said about it, and what the service was asked, on which queue.
  const auto outcome = [&](bool mounts, const char* device, unsigned options = 0) {
    const std::size_t before = disks.calls().size();
    const bool whole = options & 1, force = options & 0x80000;
    const bool done = mounts ? mounter.mount(device, whole) : mounter.unmount(device, whole, force);
    std::ostringstream text;
    text << (done ? "done" : "failed") << " [" << mounter.errorMessage() << "] [" << mounter.errorDetail() << "]";
    for (const auto& call : disks.calls() | std::views::drop(before))
      text << ' ' << call.name << ' ' << call.device << ' ' << std::hex << call.options << ' ' << queue;
    return text.str();
  };
  const Error busy = {"service", 16, "in use"};

  EXPECT_EQ(outcome(true, "nosuch"), "failed [] [There is no device nosuch]");
  EXPECT_EQ(outcome(true, "sda1"), "done [] [] mount sda1 0 a.b.mount");
  EXPECT_EQ(outcome(true, "sda", 1), "done [] [] mount sda 1 a.b.mount");
  disks.dissent = busy;
  EXPECT_EQ(outcome(true, "sda1"), "failed [Cannot mount device: /dev/sda1] [in use] mount sda1 0 a.b.mount");
  EXPECT_EQ(outcome(false, "sda", 1), "failed [Cannot unmount device: /dev/sda] [in use] unmount sda 1 a.b.unmount");
  EXPECT_EQ(outcome(true, "nosuch"), "failed [Cannot unmount device: /dev/sda] [There is no device nosuch]");
  disks.dissent.reset();
  disks.error = busy;
  EXPECT_EQ(outcome(true, "sda1"), "failed [Cannot unmount device: /dev/sda] [in use]");
  disks.error.reset();
  EXPECT_EQ(outcome(false, "sda1", 0x80000), "done [] [] unmount sda1 80000 a.b.unmount");
  EXPECT_EQ(outcome(false, "sda", 0x80001), "done [] [] unmount sda 80001 a.b.unmount");
  disks.refusal = busy;
  EXPECT_EQ(outcome(true, "sda1"), "failed [Cannot mount device: /dev/sda1] [in use]");
}

}  // namespace
}  // namespace corvane
