#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <thread>

#include "corvane/linux/bus/Bus.h"
#include "corvane/platform/Platform.h"
#include "tests/support/BusService.h"
#include "tests/support/Child.h"
#include "tests/support/Conditions.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* GNOME = "org.gnome.SessionManager";
constexpr const char* SAVER = "org.freedesktop.ScreenSaver";
constexpr const char* POWER = "org.freedesktop.PowerManagement";
constexpr const char* REFUSES = "org.freedesktop.DBus.Error.AccessDenied";

// A mock of a session service, in a process of its own.
class Service {
 public:
  explicit Service(const char* name)
      : m_object("/" + std::string(name) + (name == POWER ? "/Inhibit" : "")),
        m_name(name),
        m_child({"env", "SESSION_SERVICE=" + m_name, "/usr/bin/python3", "-B", "-m", "dbusmock", "--session", "-t",
                 CORVANE_TEST_SUPPORT "/session_services.py"}) {
    std::ranges::replace(m_object, '.', '/');
    EXPECT_TRUE(waitUntil([&] { return call("Held", "(as)", nullptr).has_value(); }));
  }

  void behave(const char* behaviour) { call("Behave", "()", g_variant_new("(s)", behaviour)).value(); }

  std::vector<std::string> held() {
    const auto reply = call("Held", "(as)", nullptr).value();
    gsize count = 0;
    const glib::Ptr<GVariant> array(g_variant_get_child_value(reply.values.get(), 0));
    const std::unique_ptr<const gchar*, decltype(&g_free)> texts(g_variant_get_strv(array.get(), &count), g_free);
    return {texts.get(), texts.get() + count};
  }

  void kill() { ::kill(m_child.pid(), SIGKILL); }

 private:
  Result<BusReply> call(const char* method, const char* type, GVariant* arguments) {
    return m_bus->call({m_name, m_object, "org.freedesktop.DBus.Mock", method, type, G_DBUS_CALL_FLAGS_NO_AUTO_START},
                       arguments, Deadline());
  }

  std::string m_object;
  const std::string m_name;
  const std::unique_ptr<Bus> m_bus = Bus::connect(G_BUS_TYPE_SESSION, Deadline()).value();
  Child m_child;
};

struct PowerManagerTest : testing::Test {
  int codeOf(const std::string& type, const std::string& reason) {
    const auto id = manager.create(type, reason);
    if (id) manager.release(*id);
    return id ? 0 : id.error().code;
  }

  TempHome home;
  PowerManager& manager = platform().powerManager();
};

TEST_F(PowerManagerTest, AsksTheServicesOfTheSessionInTurn) {
  const PrivateBus bus;
  Service gnome(GNOME), saver(SAVER), power(POWER);
  for (const auto& [type, behaviour, service, flags] : {std::tuple("PreventUserIdleDisplaySleep", "", &gnome, "8"),
                                                        {"PreventUserIdleSystemSleep", "", &gnome, "4"},
                                                        {"NoDisplaySleepAssertion", REFUSES, &saver, "0"},
                                                        {"NoIdleSleepAssertion", REFUSES, &power, "0"},
                                                        {"NetworkClientActive", "", &gnome, "4"},
                                                        {"PreventSystemSleep", "hang", &power, "0"}}) {
    gnome.behave(behaviour);
    const auto id = manager.create(type, "film");
    ASSERT_TRUE(id) << type;
    EXPECT_THAT(service->held(), ElementsAre(std::string("power_test|film|") + flags)) << type;
    EXPECT_THAT(manager.assertions().value(), ElementsAre(AssertionRecord{getpid(), "power_test", "film", type}));
    manager.release(*id);
    EXPECT_TRUE(waitUntil([&] { return service->held().empty(); })) << type;
  }
}

TEST_F(PowerManagerTest, EveryFailureHasItsCode) {
  constexpr const char* TYPE = "NetworkClientActive";
  home.set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
  EXPECT_EQ(manager.assertions().error().code, ENOTSUP);
  {
    PrivateBus bus;
    EXPECT_EQ(codeOf(TYPE, "r"), ENOTSUP) << "nobody there";
    Service power(POWER);
    for (const auto& [type, reason, code] : {std::tuple(TYPE, std::string(PowerManager::MAX_REASON, 'x'), 0),
                                             {TYPE, std::string(PowerManager::MAX_REASON + 1, 'x'), EMSGSIZE},
                                             {TYPE, std::string(1U << 20, 'x'), EMSGSIZE},
                                             {TYPE, "", EINVAL},
                                             {TYPE, "a\xff", EILSEQ},
                                             {TYPE, {"a\0b", 3}, EILSEQ},
                                             {"", "r", EINVAL},
                                             {"preventSystemSleep", "r", EINVAL},
                                             {"BackgroundTask\xff", "r", EINVAL}})
      EXPECT_EQ(codeOf(type, reason), code) << type << reason.substr(0, 9);
    power.behave(REFUSES);
    EXPECT_EQ(codeOf(TYPE, "r"), EACCES);
    power.behave("hang");
    std::thread killer([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      power.kill();
    });
    EXPECT_EQ(codeOf(TYPE, "r"), ECONNRESET);
    killer.join();
    EXPECT_EQ(codeOf(TYPE, "r"), ENOTSUP) << "it has died";
  }
  {
    const PrivateBus bus;
    Service power(POWER);
    EXPECT_EQ(codeOf(TYPE, "r"), 0) << "on another bus than before";
  }
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  (home / "run/bus").copy(address.sun_path, sizeof address.sun_path - 1);
  const FileDescriptor silent(socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(bind(silent.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(silent.get(), 9), 0);
  // The private bus has unset more than it had set.
  home.set("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (home / "run/bus")).c_str());
  home.set("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + (home / "run/bus")).c_str());
  const Deadline deadline(std::chrono::milliseconds(8000));
  EXPECT_EQ(codeOf(TYPE, "r"), ETIMEDOUT);
  EXPECT_FALSE(deadline.isOver()) << "one limit for all";
}

TEST_F(PowerManagerTest, AListHasTheRecordsOfThoseWhoAnswer) {
  const PrivateBus bus;
  const Service gnome(GNOME);
  const std::unique_ptr<Bus> other = Bus::connect(G_BUS_TYPE_SESSION, Deadline()).value();
  const BusMethod inhibit{GNOME, "/org/gnome/SessionManager", GNOME, "Inhibit", "(u)"};
  other->call(inhibit, g_variant_new("(susu)", "a.b.Editor", 0U, "film", 8U | 4U), Deadline()).value();
  const BusService login("org.freedesktop.login1", BusService::Manner::IS_SILENT);
  const Deadline deadline(std::chrono::milliseconds(4000));
  const auto records = manager.assertions().value();
  EXPECT_FALSE(deadline.isOver());
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0], (AssertionRecord{records[0].pid, "a.b.Editor", "film", "PreventUserIdleDisplaySleep"}));
  EXPECT_EQ(records[1], (AssertionRecord{records[0].pid, "a.b.Editor", "film", "PreventUserIdleSystemSleep"}));
}

TEST_F(PowerManagerTest, AnActivityMakesTheMainThreadPunctual) {
  const auto slack = [] { return prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0); };
  prctl(PR_SET_TIMERSLACK, 77, 0, 0, 0);
  const auto first = manager.beginActivity(0xEFFFFF, "r");
  const auto second = manager.beginActivity(0xEFFFFF, "r");
  EXPECT_EQ(slack(), 1);
  manager.endActivity(first);
  manager.endActivity(first);
  manager.endActivity(99);
  EXPECT_EQ(slack(), 1);
  manager.endActivity(second);
  EXPECT_EQ(slack(), 77);
}

}  // namespace
}  // namespace corvane
