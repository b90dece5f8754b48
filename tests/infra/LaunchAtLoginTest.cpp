#include "corvane/infra/LaunchAtLogin.h"

#include <gio/gdesktopappinfo.h>
#include <gmock/gmock.h>

#include "corvane/infra/Path.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/Conditions.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/LogFile.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;

const std::string LABEL = "a.b.App.launchAtLogin";

// --- The rules that hold on every system.

class LaunchAtLoginTest : public Test {
 protected:
  LaunchAtLoginTest() { identify({{"CFBundleIdentifier", "a.b.App"}, {"CFBundleName", "The App"}}); }

  void identify(const Value::Dictionary& info) {
    m_fake.bundles->main = {.path = "/apps", .executable = "/apps/app", .resources = {}, .info = infoPlist(info)};
  }

  std::vector<std::string> logged() const { return loggedMessages(m_home / "Library/Logs/a.b.App/App.log"); }

  TempHome m_home;
  FakePlatform m_fake{m_home.path().string()};
  LaunchAtLogin m_login;
  std::map<std::string, LoginItem>& m_items = m_fake.loginItems->items;
  const std::string m_folder = m_home / "Library/LaunchAgents";
  const std::string m_agent = m_folder + "/" + LABEL + ".plist";
};

TEST_F(LaunchAtLoginTest, WritesAndRemovesTheAgentAndTheSessionsItem) {
  EXPECT_FALSE(m_login.agentIsValid());
  std::ofstream(m_agent) << "longer than the agent" << std::string(9999, '.');
  EXPECT_TRUE(m_login.agentIsValid()) << "whatever it says";
  m_login.writePlist();
  EXPECT_EQ(Path::propertyList(m_agent),
            (Value::Dictionary{
                {"Label", LABEL}, {"RunAtLoad", true}, {"ProgramArguments", Value::Array{"open", "-b", "a.b.App"}}}));
  const auto& [label, identifier, name, executable] = m_items.at(LABEL);
  EXPECT_THAT((std::vector{label, identifier, name, executable}),
              ElementsAre(LABEL, "a.b.App", "The App", "/apps/app"));
  m_login.unlinkAgent();
  EXPECT_FALSE(fs::exists(m_agent));
  EXPECT_THAT(m_items, IsEmpty());
}

TEST_F(LaunchAtLoginTest, FailuresAreNotTheCallersConcern) {
  fs::create_directories(m_agent + "/folder in the way");
  m_login.writePlist();
  EXPECT_THAT(m_items, IsEmpty()) << "no item without an agent";
  fs::remove_all(m_folder);
  m_fake.loginItems->error = Error{"fake", 1, "no session"};
  m_login.writePlist();
  EXPECT_EQ(logged().back(), "> LaunchAtLogin: no session");
  m_login.unlinkAgent();
  EXPECT_FALSE(fs::exists(m_agent));
}

TEST_F(LaunchAtLoginTest, WithoutAnIdentifierOnlyRemovingIsHarmless) {
  identify({{"CFBundleName", "Nameless"}});
  m_login.unlinkAgent();
  EXPECT_FALSE(fs::exists(m_home / "Library"));
  EXPECT_DEATH(m_login.agentIsValid(), "fatal: LaunchAtLogin: the main bundle has no identifier");
}

// --- The session's entry on Linux.

class LoginEntryTest : public Test {
 protected:
  LoginEntryTest() { m_home.set("XDG_DATA_DIRS", (m_home / "system").c_str()); }

  // The entry as a session reads it; an error in it fails the test.
  glib::Ptr<GDesktopAppInfo> load() const {
    EXPECT_EQ(std::system(("desktop-file-validate '" + m_entry + "'").c_str()), 0) << contentOf(m_entry);
    return glib::Ptr<GDesktopAppInfo>(g_desktop_app_info_new_from_filename(m_entry.c_str()));
  }

  // Starts it as a session does.
  void launch() const { ASSERT_TRUE(g_app_info_launch(G_APP_INFO(load().get()), nullptr, nullptr, nullptr)); }

  // What the guide's program prints when copied to a path.
  static std::string run(const fs::path& program, const std::string& wish) {
    const char* const arguments[] = {program.c_str(), wish.c_str(), nullptr};
    gchar* out = nullptr;
    EXPECT_TRUE(g_spawn_sync(nullptr, const_cast<char**>(arguments), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &out,
                             nullptr, nullptr, nullptr));
    return glib::Ptr<gchar>(out).get();
  }

  // The error of adding an item for a program.
  std::string failureOf(const std::string& executable) const {
    const auto added = m_items->add({m_label, "org.example.Keeper", "Keeper", executable});
    return added ? "" : added.error().description;
  }

  TempHome m_home;
  const std::shared_ptr<LoginItems> m_items = makeService<LoginItems>();
  const std::string m_label = "org.example.Keeper.launchAtLogin";
  const std::string m_entry = m_home / (".config/autostart/" + m_label + ".desktop");
};

TEST_F(LoginEntryTest, StartsTheProgramWhateverItsPath) {
  int runs = 0;
  for (const std::string folder : {"plain", "two words", "a\"b'c", "100%U %% %", "$HOME `date` \\n \\\\",
                                   "~*?#&;|<>()!{}[]^", "a=b", "line\nfeed", "\u00fcml\u00e4ut \u20ac", " "}) {
    SCOPED_TRACE(folder);
    const fs::path program = m_home.path() / folder / "keeper";
    fs::create_directories(program.parent_path());
    fs::copy_file(CORVANE_TEST_BIN "/guide_login", program);
    EXPECT_EQ(run(program, "on"), "Keeper starts at login\n");
    launch();
    ++runs;
    const std::string log = m_home / "Library/Logs/org.example.Keeper/Keeper.log";
    ASSERT_TRUE(waitUntil([&] {
      return std::ranges::count(loggedMessages(log, "org.example.Keeper"), "> Started") == runs;
    })) << contentOf(m_entry);
    EXPECT_STREQ(g_app_info_get_name(G_APP_INFO(load().get())), "Keeper");
    fs::rename(program, m_home / "elsewhere");
    EXPECT_FALSE(load()) << "a session passes over the entry of a program that is gone";
    EXPECT_EQ(run(m_home / "elsewhere", "off"), "Keeper does not start at login\n");
    EXPECT_FALSE(fs::exists(m_entry));
  }
}

TEST_F(LoginEntryTest, AnInstalledEntrySaysWhatToStart) {
  const std::string program = m_home.write("app", "#!/bin/sh\nprintf '%s|' \"$@\" > '" + m_home / "out" + "'", 0755);
  m_home.write("system/applications/org.example.Keeper.desktop",
               "[Desktop Entry]\nType=Application\nName=Keeper of things\nName[de]=H\u00fcter\nTryExec=" + program +
                   "\nExec=" + program +
                   " --quiet \"two words\" 50%% %U\nDBusActivatable=true\nNoDisplay=true\n"
                   "OnlyShowIn=Other;\nActions=new;\n\n[Desktop Action new]\nName=New\nExec=/bin/false\n");
  EXPECT_EQ(run(CORVANE_TEST_BIN "/guide_login", "on"), "Keeper starts at login\n");
  EXPECT_THAT(contentOf(m_entry), HasSubstr("\nName[de]=H\u00fcter\n"));
  for (const char* left : {"DBusActivatable", "NoDisplay", "OnlyShowIn", "Actions", "Desktop Action"})
    EXPECT_THAT(contentOf(m_entry), Not(HasSubstr(left)));
  launch();
  EXPECT_TRUE(waitUntil([&] { return contentOf(m_home / "out") == "--quiet|two words|50%|"; })) << contentOf(m_entry);
}

TEST_F(LoginEntryTest, TheUsersSwitchHoldsUntilTheApplicationAsksAgain) {
  EXPECT_EQ(failureOf("/bin/true"), "");
  const std::string before = contentOf(m_entry);
  for (const char* switched : {"Hidden=true", "X-GNOME-Autostart-enabled=false"}) {
    std::ofstream(m_entry) << "[Desktop Entry]\nType=Application\nName=Keeper\nExec=true\n" << switched << "\n";
    EXPECT_EQ(failureOf("/bin/true"), "");
    EXPECT_EQ(contentOf(m_entry), before);
  }
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(m_items->remove(m_label));
  m_home.set("XDG_CONFIG_HOME", "relative");
  EXPECT_EQ(failureOf("/bin/true"), "");
  EXPECT_TRUE(fs::exists(m_entry)) << "in ~/.config";
}

TEST_F(LoginEntryTest, WhatCannotBeWrittenIsAnErrorAndLeavesNothing) {
  EXPECT_THAT(failureOf("/bin/\xff"), HasSubstr("not UTF-8"));
  EXPECT_THAT(failureOf(""), HasSubstr("unknown"));
  EXPECT_FALSE(fs::exists(m_entry));
  m_home.write(".config/autostart", "a file in the way");
  EXPECT_THAT(failureOf("/bin/true"), HasSubstr(".config/autostart: Not a directory"));
  EXPECT_TRUE(m_items->remove(m_label)) << "it is not there";
  fs::remove(m_home / ".config/autostart");
  fs::create_directories(m_entry + "/folder in the way");
  EXPECT_FALSE(m_items->remove(m_label));
}

}  // namespace
}  // namespace corvane
