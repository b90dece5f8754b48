#include "corvane/system/RuntimeRequirement.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>

#include "corvane/core/Files.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

const RuntimeRequirement PICTURES = {"libcorvane-missing.so.1", "its <b>pictures</b> & %1", "https://a.b/"};

TEST(RuntimeRequirementTest, KnowsWhatIsMissing) {
  EXPECT_EQ(missingLibrary({"libc.so.6", "", ""}), std::nullopt);
  EXPECT_EQ(missingLibrary(PICTURES), "libcorvane-missing.so.1");
  EXPECT_EQ(libraryInError("libb.so.2: Kann nicht geöffnet werden: nein"), "libb.so.2");
  EXPECT_EQ(libraryInError("nothing known"), "");
}

TEST(RuntimeRequirementTest, AsksWithoutAToolkit) {
  FakePlatform fake;
  FakeAlerts& user = *fake.alerts;
  const auto notice = [&](const RuntimeRequirement& requirement) {
    return noticeWithoutToolkit("Viewer", requirement, "libx.so.1", 7);
  };
  EXPECT_EQ(notice(PICTURES), RuntimeChoice::QUIT);
  user.answer = AlertAnswer::NONE;
  EXPECT_EQ(notice(PICTURES), RuntimeChoice::QUIT);
  user.answer = AlertAnswer::ACCEPTED;
  testing::internal::CaptureStderr();
  EXPECT_EQ(notice({"", "its windows", ""}), RuntimeChoice::QUIT);
  EXPECT_TRUE(testing::internal::GetCapturedStderr().ends_with("not installed: libx.so.1\n"));
  EXPECT_EQ(user.asked.back().accept + user.asked.back().decline, "Quit");
  EXPECT_TRUE(fake.workspace->calls.empty());
  EXPECT_EQ(notice(PICTURES), RuntimeChoice::DOWNLOAD);
  EXPECT_EQ(fake.workspace->calls, std::vector<std::string>{"open https://a.b/"});
  const AlertQuestion asked = user.asked.back();
  EXPECT_EQ(asked.text, "Viewer needs a library for its <b>pictures</b> & %1 that is not installed: libx.so.1");
  EXPECT_EQ(asked.title + asked.accept + asked.decline + std::to_string(asked.limit), "ViewerDownloadQuit7.000000");

  user.error = Error{"test", 1, "no display"};
  testing::internal::CaptureStderr();
  EXPECT_EQ(notice(PICTURES), RuntimeChoice::QUIT);
  EXPECT_TRUE(testing::internal::GetCapturedStderr().ends_with("not installed: libx.so.1 (https://a.b/)\n"));
}

// A desktop whose programs that ask end with these statuses; those without are not installed.
class AlertsTest : public testing::Test {
 protected:
  AlertsTest() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::ranges::copy((home.path() / "run/display").string(), address.sun_path);
    EXPECT_EQ(bind(display.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    setenv("PATH", (home.path() / "bin").c_str(), 1);
  }

  std::string answer(const std::map<std::string, std::string>& tools, double limit = 60) {
    fs::remove_all(home.path() / "bin");
    for (const auto& [name, script] : tools)
      home.write("bin/" + name, "#!/bin/sh\nprintf '%s\\n' \"$0\" \"$@\" >>$HOME/asked\n" + script + "\n", 0755);
    const auto got = platform().alerts().ask(
        {.title = "T", .text = "<b>it's</b> & that", .accept = "Yes, do", .decline = "No", .limit = limit});
    return !got ? "error" : *got == AlertAnswer::ACCEPTED ? "yes" : *got == AlertAnswer::DECLINED ? "no" : "none";
  }

  const TempHome home;
  const FileDescriptor display{socket(AF_UNIX, SOCK_STREAM, 0)};
};

TEST_F(AlertsTest, AskWithTheFirstProgramThatWorks) {
  const std::map<std::string, std::string> yes = {{"zenity", "exit 0"}, {"kdialog", "exit 1"}};
  EXPECT_EQ(answer(yes), "error") << "no display";
  setenv("WAYLAND_DISPLAY", "display", 1);
  EXPECT_EQ(answer(yes), "error") << "nobody there";
  ASSERT_EQ(listen(display.get(), 9), 0);
  EXPECT_EQ(answer(yes), "yes");
  EXPECT_NE(contentOf(home.path() / "asked").find("--text=<b>it's</b> & that\n--ok-label=Yes, do\n"),
            std::string::npos);
  setenv("XDG_CURRENT_DESKTOP", "KDE", 1);
  EXPECT_EQ(answer(yes), "no");
  unsetenv("XDG_CURRENT_DESKTOP");
  EXPECT_EQ(answer({{"zenity", "exit 255"}, {"kdialog", "exit 0"}}), "yes");
  EXPECT_EQ(answer({{"zenity", "kill -ABRT $$"}, {"kdialog", "exit 2"}}), "no");
  EXPECT_EQ(answer({{"kdialog", "exit 134"}, {"xmessage", "exit 101"}}), "error") << "xmessage is for X11";
  EXPECT_EQ(answer({}), "error");
  EXPECT_EQ(answer({{"zenity", "/bin/sleep 100"}}, 0.1), "none");
}

}  // namespace
}  // namespace corvane
