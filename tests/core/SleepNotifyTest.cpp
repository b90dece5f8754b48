#include "corvane/core/SleepNotify.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "corvane/core/Log.h"
#include "corvane/linux/bus/Bus.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/Child.h"
#include "tests/support/Conditions.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Pump.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using Names = std::vector<std::string>;

Names s_log;
constexpr LogSink SINK = {[](std::string_view line) { s_log.emplace_back(line); }, [] { return true; }};

// A bus with mocked services, seen from outside the library.
class MockBus {
 public:
  // Starts a mock from one of python3-dbusmock's templates and waits until it answers.
  std::unique_ptr<Child> mock(const char* which, const char* name) {
    auto child = std::make_unique<Child>(Names{"/usr/bin/python3", "-m", "dbusmock", "--template", which});
    EXPECT_TRUE(pumpUntil([&] {
      return call({"org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetNameOwner", "(s)"},
                  g_variant_new("(s)", name))
          .has_value();
    }));
    return child;
  }

  void emit(const std::string& name, const std::string& object, const char* interface, const char* signal, bool value) {
    const glib::Ptr<GVariant> arguments(g_variant_ref_sink(g_variant_new_parsed("[<%b>]", value)));
    EXPECT_TRUE(call({name, object, "org.freedesktop.DBus.Mock", "EmitSignal"},
                     g_variant_new("(sss@av)", interface, signal, "b", arguments.get())));
  }

  void prepareForSleep(bool asleep) { emit(LOGIN, LOGIN_OBJECT, LOGIN_MANAGER, "PrepareForSleep", asleep); }

  std::size_t inhibitors() {
    const auto reply = call({LOGIN, LOGIN_OBJECT, LOGIN_MANAGER, "ListInhibitors", "(a(ssssuu))"}, nullptr);
    if (!reply) return 99;
    return g_variant_n_children(glib::Ptr<GVariant>(g_variant_get_child_value(reply->values.get(), 0)).get());
  }

 private:
  static constexpr const char* LOGIN = "org.freedesktop.login1";
  static constexpr const char* LOGIN_OBJECT = "/org/freedesktop/login1";
  static constexpr const char* LOGIN_MANAGER = "org.freedesktop.login1.Manager";

  Result<BusReply> call(const BusMethod& method, GVariant* arguments) {
    return m_connection->call(method, arguments, Deadline());
  }

  PrivateBus m_bus;
  const std::unique_ptr<Bus> m_connection = Bus::connect(G_BUS_TYPE_SESSION, Deadline()).value();
};

struct SleepNotifyTest : testing::Test {
  SleepNotifyTest() {
    s_log.clear();
    setLogSink(&SINK);
  }
  ~SleepNotifyTest() override { setLogSink(nullptr); }

  TempHome home;
  Names names;
  SleepNotify::Listener listener = [this](const Notification& event) {
    EXPECT_TRUE(IsMainQueue());
    names.push_back(event.name);
  };
};

TEST_F(SleepNotifyTest, PassesOnTheFourNamesOnlyUntilDeregistered) {
  FakePlatform fake;
  {
    SleepNotify notify(listener);
    for (const std::string_view name : {WILL_SLEEP, SCREENS_DID_SLEEP, DID_WAKE, SCREENS_DID_WAKE})
      fake.power->announce(name);
    fake.power->announce("NSWorkspaceDidLaunchApplicationNotification");
    notify.sleepListenerWithANotification({"other"});
    notify.sleepListenerWithANotification({std::string(DID_WAKE)});
    EXPECT_EQ(names, (Names{"NSWorkspaceWillSleepNotification", "NSWorkspaceScreensDidSleepNotification",
                            "NSWorkspaceDidWakeNotification", "NSWorkspaceScreensDidWakeNotification",
                            "NSWorkspaceDidWakeNotification"}));
    notify.deregister();
    notify.deregister();
    fake.power->announce(WILL_SLEEP);
    EXPECT_EQ(names.size(), 5U);
  }
  fake.power->announce(WILL_SLEEP);
  EXPECT_EQ(fake.power->subscribers(), 0U);
}

TEST_F(SleepNotifyTest, TheLoginManagersSleepIsDelayedUntilTheHandlersAreDone) {
  MockBus bus;
  const auto logind = bus.mock("logind", "org.freedesktop.login1");
  bool heldInHandler = false;
  SleepNotify notify([&](const Notification& event) {
    listener(event);
    if (event.name == WILL_SLEEP) heldInHandler = bus.inhibitors() == 1;
  });
  ASSERT_TRUE(pumpUntil([&] { return bus.inhibitors() == 1; })) << "held from the start";
  for (int round = 1; round <= 2; ++round) {
    names.clear();
    heldInHandler = false;
    bus.prepareForSleep(true);
    bus.prepareForSleep(true);
    ASSERT_TRUE(pumpUntil([&] { return !names.empty() && bus.inhibitors() == 0; })) << "released";
    EXPECT_TRUE(heldInHandler);
    bus.prepareForSleep(false);
    bus.prepareForSleep(false);
    ASSERT_TRUE(pumpUntil([&] { return names.size() > 1 && bus.inhibitors() == 1; })) << "taken again";
    pump();
    EXPECT_EQ(names, (Names{std::string(WILL_SLEEP), std::string(DID_WAKE)})) << "duplicates are suppressed";
  }
  notify.deregister();
  EXPECT_TRUE(pumpUntil([&] { return bus.inhibitors() == 0; })) << "released at the end";
  bus.prepareForSleep(true);
  pump();
  EXPECT_EQ(names.size(), 2U);
}

TEST_F(SleepNotifyTest, AMainLoopThatHangsDoesNotHoldTheSleepForLong) {
  MockBus bus;
  auto logind = bus.mock("logind", "org.freedesktop.login1");
  SleepNotify notify(listener);
  ASSERT_TRUE(pumpUntil([&] { return bus.inhibitors() == 1; }));
  bus.prepareForSleep(true);
  // The main queue is not served here; the login manager's own limit is 5 s.
  EXPECT_TRUE(waitUntil([&] { return bus.inhibitors() == 0; }));
  EXPECT_TRUE(names.empty());
  // The service that announced the sleep is gone, so nothing will announce its end.
  logind.reset();
  EXPECT_TRUE(pumpUntil([&] { return names == Names{std::string(WILL_SLEEP), std::string(DID_WAKE)}; }));
}

TEST_F(SleepNotifyTest, TheScreenSaverServiceReportsTheScreens) {
  MockBus bus;
  auto saver = bus.mock("gnome_screensaver", "org.gnome.ScreenSaver");
  SleepNotify notify(listener);
  ASSERT_TRUE(pumpUntil([&] { return !s_log.empty(); })) << "there is no login manager here";
  EXPECT_TRUE(s_log[0].starts_with("SleepNotify: The login manager does not report sleep: ")) << s_log[0];
  const auto emit = [&](bool active) {
    bus.emit("org.gnome.ScreenSaver", "/org/gnome/ScreenSaver", "org.gnome.ScreenSaver", "ActiveChanged", active);
  };
  // The subscription is made in the background.
  ASSERT_TRUE(pumpUntil([&] {
    emit(true);
    return !names.empty();
  }));
  emit(true);
  emit(false);
  emit(false);
  ASSERT_TRUE(pumpUntil([&] { return names.size() == 2; }));
  pump();
  EXPECT_EQ(names, (Names{std::string(SCREENS_DID_SLEEP), std::string(SCREENS_DID_WAKE)}));
  emit(true);
  saver.reset();
  ASSERT_TRUE(pumpUntil([&] { return names.size() == 4; })) << "the end of the service wakes the screens";
  EXPECT_EQ(names.back(), SCREENS_DID_WAKE);
  EXPECT_EQ(s_log.size(), 1U);
}

TEST_F(SleepNotifyTest, TheXServersScreenSaverReportsTheScreens) {
  PrivateBus bus;
  const std::string display = ":" + std::to_string(100 + getpid() % 20'000);
  // A server that resets when its last client leaves may take a new one for one of those.
  const Child server({"Xvfb", display, "-screen", "0", "320x200x24", "-nolisten", "tcp", "-noreset"});
  home.set("DISPLAY", display.c_str());
  const auto xset = [](const char* what) {
    return std::system(("xset " + std::string(what) + " >/dev/null 2>&1").c_str()) == 0;
  };
  ASSERT_TRUE(pumpUntil([&] { return xset("q"); })) << "the server answers";
  SleepNotify notify(listener);
  // The subscription is made in the background, and a screen saver that is already on reports nothing.
  ASSERT_TRUE(pumpUntil([&] {
    xset("s reset");
    xset("s activate");
    return !names.empty();
  }));
  xset("s reset");
  ASSERT_TRUE(pumpUntil([&] { return names.back() == SCREENS_DID_WAKE; }));
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(names[i], i % 2 ? SCREENS_DID_WAKE : SCREENS_DID_SLEEP);
}

TEST_F(SleepNotifyTest, AMachineWithoutServicesGetsOneLineForEach) {
  home.set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
  SleepNotify notify(listener);
  ASSERT_TRUE(pumpUntil([&] { return s_log.size() == 2; }));
  EXPECT_TRUE(s_log[0].starts_with("SleepNotify: No system bus: ")) << s_log[0];
  EXPECT_EQ(s_log[1], "SleepNotify: No service reports when the screens sleep");
  pump();
  EXPECT_EQ(s_log.size(), 2U);
}

}  // namespace
}  // namespace corvane
