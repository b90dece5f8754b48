#include "corvane/linux/bus/Bus.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "tests/support/PrivateBus.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using std::chrono::milliseconds;

TEST(BusTest, ASocketThatNeverAnswersIsGivenUpAtTheDeadline) {
  TempHome home;
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  (home / "run/bus").copy(address.sun_path, sizeof address.sun_path - 1);
  const FileDescriptor silent(socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(bind(silent.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(silent.get(), 1), 0);
  const auto bus = Bus::connect(G_BUS_TYPE_SESSION, Deadline(milliseconds(100)));
  ASSERT_FALSE(bus);
  EXPECT_EQ(bus.error().code, ETIMEDOUT);
  EXPECT_EQ(bus.error().description, "No session bus: no answer in time");
  home.set("XDG_RUNTIME_DIR", nullptr);
  EXPECT_EQ(Bus::connect(G_BUS_TYPE_SESSION, Deadline()).error().description,
            "No session bus: the environment names none");
}

TEST(BusTest, ErrorsCanBeToldApart) {
  const PrivateBus daemon;
  const auto bus = Bus::connect(G_BUS_TYPE_SESSION, Deadline()).value();
  BusMethod method{"org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetNameOwner", "(s)"};
  const auto errorOf = [&](const char* name) {
    return bus->call(method, g_variant_new("(s)", name), Deadline()).error();
  };
  const BusMethod own{"org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName", "(u)"};
  EXPECT_EQ(bus->call(own, g_variant_new("(su)", "a.b.c", 0U), Deadline(milliseconds(0))).error().code, ETIMEDOUT);
  EXPECT_EQ(errorOf("a.b.c").domain, "org.freedesktop.DBus.Error.NameHasNoOwner") << "nothing was sent too late";
  method.replyType = "(u)";
  EXPECT_EQ(errorOf("org.freedesktop.DBus").domain, "g-io-error-quark");
}

}  // namespace
}  // namespace corvane
