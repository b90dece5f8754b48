#include <gmock/gmock.h>
#include <sys/prctl.h>

#include "corvane/platform/Platform.h"
#include "tests/support/BusService.h"
#include "tests/support/Conditions.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using Manner = BusService::Manner;

constexpr const char* GNOME = "org.gnome.SessionManager";
constexpr const char* SAVER = "org.freedesktop.ScreenSaver";
constexpr const char* POWER = "org.freedesktop.PowerManagement";
constexpr const char* LOGIN = "org.freedesktop.login1";
constexpr const char* REFUSAL = "org.freedesktop.DBus.Error.AccessDenied";

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
  constexpr const char* COOKIE = "'power_test', 'film')";
  for (const auto& [type, manner, name, call] :
       {std::tuple("PreventUserIdleDisplaySleep", Manner::ANSWERS, GNOME, "uint32 0, 'film', uint32 8)"),
        {"PreventUserIdleSystemSleep", Manner::ANSWERS, GNOME, "uint32 0, 'film', uint32 4)"},
        {"NetworkClientActive", Manner::ANSWERS, GNOME, "uint32 0, 'film', uint32 4)"},
        {"NoDisplaySleepAssertion", Manner::REFUSES, SAVER, COOKIE},
        {"NoIdleSleepAssertion", Manner::REFUSES, POWER, COOKIE},
        {"PreventSystemSleep", Manner::IS_SILENT, POWER, COOKIE}}) {
    BusService gnome(GNOME, manner), other(name == GNOME ? SAVER : name);
    gnome.behave(manner, REFUSAL);
    BusService& service = name == GNOME ? gnome : other;
    service.answer("Inhibit", "(uint32 7,)");
    const auto id = manager.create(type, "film");
    ASSERT_TRUE(id) << type;
    EXPECT_TRUE(service.calls().back().ends_with(call)) << service.calls().back();
    EXPECT_THAT(manager.assertions().value(), ElementsAre(AssertionRecord{getpid(), "power_test", "film", type}));
    manager.release(*id);
    const std::string end = name == GNOME ? ".Uninhibit(uint32 7,)" : ".UnInhibit(uint32 7,)";
    EXPECT_TRUE(waitUntil([&] { return service.calls().back().ends_with(end); })) << type;
  }
}

TEST_F(PowerManagerTest, ListsEachAssertionOnceAndWaitsForNobodyLong) {
  const PrivateBus bus;
  BusService login(LOGIN), gnome(GNOME);
  login.answer("ListInhibitors",
               "([('idle', 'x', 'film [NoDisplaySleepAssertion]', 'block', uint32 0, uint32 11), ('idle', 'x', 'film', "
               "'block', 0, 11), ('sleep', 'user', 'user session inhibited', 'block', 0, " +
                   std::to_string(getpid()) + ")],)");
  for (const auto& [method, values] : {std::pair("GetInhibitors", "([objectpath '/a'],)"),
                                       {"GetFlags", "(uint32 12,)"},
                                       {"GetAppId", "('x.desktop',)"},
                                       {"GetReason", "('film',)"},
                                       {"GetClientId", "(objectpath '/b',)"},
                                       {"GetUnixProcessId", "(uint32 11,)"}})
    gnome.answer(method, values);
  const AssertionRecord display{11, "x", "film", "NoDisplaySleepAssertion"};
  const AssertionRecord system{11, "x", "film", "PreventUserIdleSystemSleep"};
  const AssertionRecord proxy{getpid(), "user", "user session inhibited", "PreventSystemSleep"};
  EXPECT_THAT(manager.assertions().value(), ElementsAre(display, system));
  gnome.answer("GetUnixProcessId", "()");
  EXPECT_EQ(manager.assertions().value().back().pid, getpid()) << "the session manager's";
  const Deadline deadline(std::chrono::milliseconds(4000));
  gnome.behave(Manner::IS_SILENT);
  EXPECT_THAT(manager.assertions().value(), ElementsAre(display, system, proxy));
  gnome.behave(Manner::ANSWERS);
  login.behave(Manner::IS_SILENT);
  EXPECT_THAT(manager.assertions().value(), testing::SizeIs(2));
  EXPECT_FALSE(deadline.isOver());
}

TEST_F(PowerManagerTest, EveryFailureHasItsCode) {
  home.set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
  EXPECT_EQ(manager.assertions().error().code, ENOTSUP);
  EXPECT_EQ(codeOf(), ENOTSUP);
  for (const bool hangs : {false, true}) {
    const PrivateBus bus;  // the second time another one than before
    std::optional<BusService> power(POWER);
    power->answer("Inhibit", "(uint32 7,)");
    for (const auto& [reason, code] : {std::pair(std::string(PowerManager::MAX_REASON, 'x'), 0),
                                       {std::string(PowerManager::MAX_REASON + 1, 'x'), EMSGSIZE},
                                       {std::string(), EINVAL},
                                       {std::string("a\xff"), EILSEQ},
                                       {std::string("a\0b", 3), EILSEQ}})
      EXPECT_EQ(codeOf(reason), code);
    for (const char* type : {"", "preventSystemSleep", "BackgroundTask\xff"}) EXPECT_EQ(codeOf("r", type), EINVAL);
    for (const auto& [error, code] : {std::pair("org.freedesktop.DBus.Error.NoReply", ECONNRESET),
                                      {REFUSAL, EACCES},
                                      {"org.freedesktop.DBus.Error.LimitsExceeded", EAGAIN},
                                      {"a.b.Error", EACCES}}) {
      power->behave(Manner::REFUSES, error);
      EXPECT_EQ(codeOf(), code) << error;
    }
    const Deadline deadline(std::chrono::milliseconds(8000));
    if (hangs) power->behave(Manner::IS_SILENT);
    EXPECT_EQ(codeOf(), hangs ? ETIMEDOUT : EACCES);
    EXPECT_FALSE(deadline.isOver());
    power.reset();
    EXPECT_EQ(codeOf(), ENOTSUP) << "it has gone";
  }
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
