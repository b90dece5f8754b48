#include "corvane/infra/LaunchAtLogin.h"

#include <gio/gdesktopappinfo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "corvane/infra/Path.h"
#include "corvane/infra/PropertyList.h"
#include "corvane/platform/fake/FakePlatform.h"
#include "corvane/platform/linux/GLibSupport.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string LABEL = "a.b.App.launchAtLogin";

// --- The rules that hold on every system.

class LaunchAtLoginTest : public testing::Test {
 protected:
  LaunchAtLoginTest() { use(m_home.path(), {{"CFBundleIdentifier", "a.b.App"}, {"CFBundleName", "The App"}}); }

  void use(const std::string& root, const Value::Dictionary& info) {
    m_fake.emplace(root);
    m_fake->bundles->main = {.path = "/apps",
                             .executable = "/apps/app",
                             .resources = {},
                             .info = *writePropertyList(info, PropertyListFormat::XML)};
  }

  TempHome m_home;
  std::optional<FakePlatform> m_fake;
  LaunchAtLogin m_login;
  const std::string m_agent = m_home / ("Library/LaunchAgents/" + LABEL + ".plist");
};

TEST_F(LaunchAtLoginTest, WritesAndRemovesTheAgentAndTheSessionsItem) {
  EXPECT_FALSE(m_login.agentIsValid());
  m_home.write("Library/LaunchAgents/" + LABEL + ".plist",
               "something else, and much longer than the agent" + std::string(9999, '.'));
  m_login.writePlist();
  EXPECT_TRUE(m_login.agentIsValid());
  EXPECT_EQ(Path::propertyList(m_agent),
            (Value::Dictionary{
                {"Label", LABEL}, {"RunAtLoad", true}, {"ProgramArguments", Value::Array{"open", "-b", "a.b.App"}}}));
  const LoginItem item = m_fake->loginItems->items.at(LABEL);
  EXPECT_THAT((std::vector{item.label, item.identifier, item.name, item.executable}),
              testing::ElementsAre(LABEL, "a.b.App", "The App", "/apps/app"));
  for (int i = 0; i < 2; ++i) {
    m_login.unlinkAgent();
    EXPECT_FALSE(fs::exists(m_agent));
    EXPECT_FALSE(m_login.agentIsValid());
    EXPECT_THAT(m_fake->loginItems->items, IsEmpty());
  }
}

TEST_F(LaunchAtLoginTest, OnlyTheAgentsSizeMakesItValid) {
  m_login.writePlist();
  m_fake->loginItems->items.clear();
  EXPECT_TRUE(m_login.agentIsValid()) << "whatever the session knows";
  std::ofstream(m_agent, std::ios::trunc).close();
  EXPECT_FALSE(m_login.agentIsValid());
  std::ofstream(m_agent) << "x";
  EXPECT_TRUE(m_login.agentIsValid());
}

TEST_F(LaunchAtLoginTest, FailuresAreNoMatterForTheCaller) {
  const auto log = [this] {
    std::ifstream file(m_home / "Library/Logs/a.b.App/App.log");
    return std::string{std::istreambuf_iterator<char>(file), {}};
  };
  m_fake->loginItems->items["other"] = {};
  fs::create_directories(m_agent + "/folder in the way");
  m_login.writePlist();
  EXPECT_EQ(m_fake->loginItems->items.size(), 1U) << "no item without an agent";
  m_login.unlinkAgent();
  EXPECT_EQ(log(), "") << "nobody asks how the agent fared";

  fs::remove_all(m_home / "Library/LaunchAgents");
  m_home.write("Library/LaunchAgents", "a file in the way");
  m_fake->loginItems->items[LABEL] = {};
  m_login.writePlist();
  EXPECT_FALSE(m_login.agentIsValid());
  m_login.unlinkAgent();
  EXPECT_EQ(m_fake->loginItems->items.size(), 2U) << "without the folder nothing is done";
  EXPECT_THAT(log(), HasSubstr("FindLaunchAgentPath: " + (m_home / "Library/LaunchAgents") + ": Not a directory\n"));

  fs::remove(m_home / "Library/LaunchAgents");
  m_fake->loginItems->error = Error{"fake", 1, "no session"};
  m_login.writePlist();
  EXPECT_TRUE(m_login.agentIsValid());
  EXPECT_THAT(log(), HasSubstr("LaunchAtLogin: no session\n"));
  m_login.unlinkAgent();
  EXPECT_FALSE(fs::exists(m_agent));
}

TEST_F(LaunchAtLoginTest, WithoutAnIdentifierOnlyRemovingIsHarmless) {
  use(m_home.path(), {{"CFBundleName", "Nameless"}});
  m_login.unlinkAgent();
  EXPECT_FALSE(fs::exists(m_home / "Library"));
  EXPECT_DEATH(m_login.writePlist(), "fatal: LaunchAtLogin: the main bundle has no identifier");
  EXPECT_DEATH(m_login.agentIsValid(), "fatal: LaunchAtLogin: the main bundle has no identifier");
}

// --- The session's entry on Linux.

class LoginEntryTest : public testing::Test {
 protected:
  LoginEntryTest() { m_home.set("XDG_DATA_DIRS", (m_home / "system").c_str()); }

  // The entry as a session reads it; what is wrong with it fails the test.
  glib::Ptr<GDesktopAppInfo> load() const {
    EXPECT_EQ(std::system(("desktop-file-validate '" + m_entry + "'").c_str()), 0) << contents();
    return glib::Ptr<GDesktopAppInfo>(g_desktop_app_info_new_from_filename(m_entry.c_str()));
  }

  std::string contents() const {
    std::ifstream file(m_entry);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::string key(const glib::Ptr<GDesktopAppInfo>& entry, const char* name) const {
    const glib::Ptr<gchar> value(g_desktop_app_info_get_string(entry.get(), name));
    return value ? value.get() : "none";
  }

  // Starts it as a session does.
  void launch() const {
    const auto entry = load();
    ASSERT_TRUE(entry) << contents();
    GError* error = nullptr;
    ASSERT_TRUE(g_app_info_launch(G_APP_INFO(entry.get()), nullptr, nullptr, &error)) << error->message;
  }

  // Runs the guide's program, copied to a path.
  std::string run(const fs::path& program, const std::string& wish) const {
    const char* const arguments[] = {program.c_str(), wish.c_str(), nullptr};
    gchar* out = nullptr;
    GError* error = nullptr;
    EXPECT_TRUE(g_spawn_sync(nullptr, const_cast<char**>(arguments), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &out,
                             nullptr, nullptr, &error))
        << (error ? error->message : "");
    const glib::Ptr<gchar> owner(out);
    return out ? out : "";
  }

  // Waits until so many runs have been logged.
  bool started(int times) const {
    for (int tries = 0; tries < 600; ++tries, std::this_thread::sleep_for(std::chrono::milliseconds(50))) {
      std::ifstream log(m_home / "Library/Logs/org.example.Keeper/Keeper.log");
      int found = 0;
      for (std::string line; std::getline(log, line);) found += line.ends_with("org.example.Keeper Started");
      if (found == times) return true;
    }
    return false;
  }

  TempHome m_home;
  const std::string m_label = "org.example.Keeper.launchAtLogin";
  const std::string m_entry = m_home / (".config/autostart/" + m_label + ".desktop");
};

TEST_F(LoginEntryTest, StartsTheProgramWhateverItsPath) {
  int runs = 0;
  for (const std::string folder : {"plain", "two words", "a\"b'c", "100%U %% %", "$HOME `date` \\n \\\\",
                                   "~*?#&;|<>()!{}[]^", "a=b", "line\nfeed", "\u00fcml\u00e4ut \u20ac", " "}) {
    const fs::path program = m_home.path() / folder / "keeper";
    fs::create_directories(program.parent_path());
    fs::copy_file(CORVANE_TEST_BIN "/guide_login", program);
    EXPECT_EQ(run(program, "on"), "Keeper starts at login\n");
    launch();
    ASSERT_TRUE(started(++runs)) << folder << "\n" << contents();
    const auto entry = load();
    EXPECT_EQ(key(entry, "TryExec"), program);
    EXPECT_STREQ(g_app_info_get_name(G_APP_INFO(entry.get())), "Keeper");
    EXPECT_TRUE(g_desktop_app_info_get_boolean(entry.get(), "X-GNOME-Autostart-enabled"));
    fs::rename(program, m_home / "elsewhere");
    EXPECT_FALSE(load()) << "a session passes over the entry of a program that is gone";
    EXPECT_EQ(run(m_home / "elsewhere", "off"), "Keeper does not start at login\n");
    EXPECT_FALSE(fs::exists(m_entry));
  }
}

TEST_F(LoginEntryTest, AnInstalledEntrySaysWhatToStart) {
  const std::string program =
      m_home.write("bin/app", "#!/bin/sh\nprintf '%s|' \"$@\" > '" + (m_home / "out") + "'", 0755);
  m_home.write(
      "system/applications/org.example.Keeper.desktop",
      "[Desktop Entry]\nType=Application\nName=Keeper of things\nName[de]=H\u00fcter\nIcon=keeper\nTerminal=false\n"
      "Exec=" +
          program + " --quiet \"two words\" 50%% %U\nTryExec=" + program +
          "\nDBusActivatable=true\nNoDisplay=true\nHidden=false\nOnlyShowIn=Other;\nMimeType=text/plain;\n"
          "Actions=new;\n\n[Desktop Action new]\nName=New\nExec=/bin/false\n");
  EXPECT_EQ(run(CORVANE_TEST_BIN "/guide_login", "on"), "Keeper starts at login\n");
  const auto entry = load();
  ASSERT_TRUE(entry);
  EXPECT_EQ(key(entry, "Name"), "Keeper of things");
  EXPECT_THAT(contents(), HasSubstr("Name[de]=H\u00fcter\n"));
  EXPECT_EQ(key(entry, "Icon"), "keeper");
  for (const char* left : {"DBusActivatable", "NoDisplay", "OnlyShowIn", "MimeType", "Actions", "Desktop Action"})
    EXPECT_THAT(contents(), testing::Not(HasSubstr(left)));
  launch();
  for (int tries = 0; tries < 600 && (!fs::exists(m_home / "out") || fs::file_size(m_home / "out") == 0); ++tries)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::ifstream out(m_home / "out");
  EXPECT_EQ((std::string{std::istreambuf_iterator<char>(out), {}}), "--quiet|two words|50%|");
}

TEST_F(LoginEntryTest, TheUsersSwitchHoldsUntilTheApplicationAsksAgain) {
  const auto items = makeService<LoginItems>();
  const LoginItem item = {
      .label = m_label, .identifier = "org.example.Keeper", .name = "Keeper", .executable = "/bin/true"};
  ASSERT_TRUE(items->add(item));
  const std::string before = contents();
  for (const char* switched :
       {"[Desktop Entry]\nType=Application\nName=Keeper\nExec=true\nHidden=true\n",
        "[Desktop Entry]\nType=Application\nName=Keeper\nExec=true\nX-GNOME-Autostart-enabled=false\n"}) {
    std::ofstream(m_entry) << switched;
    ASSERT_TRUE(items->add(item));
    EXPECT_EQ(contents(), before);
  }
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(items->remove(m_label));
}

TEST_F(LoginEntryTest, WhatCannotBeWrittenIsAnErrorAndLeavesNothing) {
  const auto items = makeService<LoginItems>();
  const auto failed = [&](const std::string& executable) {
    const auto added =
        items->add({.label = m_label, .identifier = "org.example.Keeper", .name = "Keeper", .executable = executable});
    return added ? "" : added.error().description;
  };
  EXPECT_THAT(failed("/bin/\xff"), HasSubstr("not UTF-8"));
  EXPECT_THAT(failed(""), HasSubstr("not known"));
  EXPECT_FALSE(fs::exists(m_entry));
  m_home.write(".config/autostart", "a file in the way");
  EXPECT_THAT(failed("/bin/true"), HasSubstr(".config/autostart: Not a directory"));
  EXPECT_TRUE(items->remove(m_label)) << "it is not there";
  fs::remove(m_home / ".config/autostart");
  fs::create_directories(m_entry + "/folder in the way");
  EXPECT_THAT(failed("/bin/true"), HasSubstr(m_entry + ": "));
  EXPECT_FALSE(items->remove(m_label));
  EXPECT_EQ(std::distance(fs::directory_iterator(m_home / ".config/autostart"), {}), 1);
}

}  // namespace
}  // namespace corvane
