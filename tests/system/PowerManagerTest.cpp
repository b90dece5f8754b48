#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <thread>

#include "corvane/platform/Platform.h"
#include "tests/support/BusService.h"
#include "tests/support/Child.h"
#include "tests/support/Conditions.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

constexpr const char* GNOME = "org.gnome.SessionManager";
constexpr const char* POWER = "org.freedesktop.PowerManagement";
constexpr const char* REFUSES = "org.freedesktop.DBus.Error.AccessDenied";

struct Service : Child {
  explicit Service(const std::string& name)
      : Child({"/usr/bin/python3", CORVANE_TEST_SUPPORT "/session_service.py", name}), m_name(name) {
    EXPECT_TRUE(waitUntil([&] { return call("Held", "(as)", nullptr).has_value(); }));
  }

  Result<BusReply> call(const char* method, const char* type, GVariant* arguments) {
    return m_bus->call({m_name, "/", m_name, method, type, G_DBUS_CALL_FLAGS_NO_AUTO_START}, arguments, Deadline());
  }
  void behave(const char* behaviour) { call("Behave", "()", g_variant_new("(s)", behaviour)).value(); }
  std::string held() {
    const auto reply = call("Held", "(as)", nullptr).value();
    return glib::Ptr<gchar>(g_variant_print(reply.values.get(), FALSE)).get();
  }

 private:
  const std::string m_name;
  const std::unique_ptr<Bus> m_bus = Bus::connect(G_BUS_TYPE_SESSION, Deadline()).value();
};

struct PowerManagerTest : testing::Test {
  int codeOf(const std::string& reason = "r", const std::string& type = "NetworkClientActive") {
    const auto id = manager.create(type, reason);
    if (id) manager.release(*id);
    return id ? 0 : id.error().code;
  }

  TempHome home;
  PowerManager& manager = platform().powerManager();
};

TEST_F(PowerManagerTest, AsksTheServicesOfTheSessionInTurn) {
  const PrivateBus bus;
  Service gnome(GNOME), saver("org.freedesktop.ScreenSaver"), power(POWER);
  for (const auto& [type, behaviour, service, flags] : {std::tuple("PreventUserIdleDisplaySleep", "", &gnome, "8"),
                                                        {"PreventUserIdleSystemSleep", "", &gnome, "4"},
                                                        {"NoDisplaySleepAssertion", REFUSES, &saver, "0"},
                                                        {"NoIdleSleepAssertion", REFUSES, &power, "0"},
                                                        {"NetworkClientActive", "", &gnome, "4"},
                                                        {"PreventSystemSleep", "hang", &power, "0"}}) {
    gnome.behave(behaviour);
    const auto id = manager.create(type, "film");
    ASSERT_TRUE(id) << type;
    EXPECT_EQ(service->held(), std::string("(['power_test|film|") + flags + "'],)") << type;
    EXPECT_THAT(manager.assertions().value(),
                testing::ElementsAre(AssertionRecord{getpid(), "power_test", "film", type}));
    manager.release(*id);
    EXPECT_TRUE(waitUntil([&] { return service->held() == "([],)"; })) << type;
  }
  // What hangs costs a second at most, and not the records of the others.
  gnome.behave("");
  gnome.call("Inhibit", "(u)", g_variant_new("(susu)", "4711", 0U, "film", 12U)).value();
  const BusService login("org.freedesktop.login1", BusService::Manner::IS_SILENT);
  const Deadline deadline(std::chrono::milliseconds(4000));
  EXPECT_THAT(manager.assertions().value(),
              testing::ElementsAre(AssertionRecord{4711, "4711", "film", "PreventUserIdleDisplaySleep"},
                                   AssertionRecord{4711, "4711", "film", "PreventUserIdleSystemSleep"}));
  EXPECT_FALSE(deadline.isOver());
}

TEST_F(PowerManagerTest, EveryFailureHasItsCode) {
  home.set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
  EXPECT_EQ(manager.assertions().error().code, ENOTSUP);
  EXPECT_EQ(codeOf(), ENOTSUP);
  for (const bool again : {false, true}) {
    const PrivateBus bus;  // the second time another one than before
    Service power(POWER);
    for (const auto& [reason, code] : {std::pair(std::string(PowerManager::MAX_REASON, 'x'), 0),
                                       {std::string(PowerManager::MAX_REASON + 1, 'x'), EMSGSIZE},
                                       {std::string(), EINVAL},
                                       {std::string("a\xff"), EILSEQ},
                                       {std::string("a\0b", 3), EILSEQ}})
      EXPECT_EQ(codeOf(reason), code) << again;
    for (const char* type : {"", "preventSystemSleep", "BackgroundTask\xff"}) EXPECT_EQ(codeOf("r", type), EINVAL);
    power.behave(REFUSES);
    EXPECT_EQ(codeOf(), EACCES);
    power.behave("hang");
    std::thread killer([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      kill(power.pid(), SIGKILL);
    });
    EXPECT_EQ(codeOf(), ECONNRESET);
    killer.join();
    EXPECT_EQ(codeOf(), ENOTSUP) << "it has died";
  }
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  (home / "bus").copy(address.sun_path, sizeof address.sun_path - 1);
  const FileDescriptor silent(socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(bind(silent.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(silent.get(), 9), 0);
  for (const char* name : {"DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"})
    home.set(name, ("unix:path=" + (home / "bus")).c_str());
  const Deadline deadline(std::chrono::milliseconds(8000));
  EXPECT_EQ(codeOf(), ETIMEDOUT);
  EXPECT_FALSE(deadline.isOver()) << "one limit for all";
}

TEST_F(PowerManagerTest, AnActivityMakesTheMainThreadPunctual) {
  const auto slack = [] { return prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0); };
  prctl(PR_SET_TIMERSLACK, 77, 0, 0, 0);
  const auto first = manager.beginActivity(0xEFFFFF, "r"), second = manager.beginActivity(0xEFFFFF, "r");
  for (const auto token : {first, first}) manager.endActivity(token);
  EXPECT_EQ(slack(), 1);
  manager.endActivity(second);
  EXPECT_EQ(slack(), 77);
}

}  // namespace
}  // namespace corvane
