#include "corvane/platform/Workspace.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <thread>

#include "corvane/infra/Bundle.h"
#include "tests/support/BusService.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;

class WorkspaceTest : public Test {
 protected:
  WorkspaceTest() {
    m_home.set("XDG_DATA_DIRS", (m_home / "system").c_str());
    mkfifo((m_home / "out").c_str(), 0600);
  }

  // Writes a desktop entry, of the user unless told otherwise.
  std::string entry(const std::string& name, const std::string& lines, const std::string& data = ".local/share") const {
    return m_home.write(data + "/applications/" + name + ".desktop",
                        "[Desktop Entry]\nType=Application\nName=Test\n" + lines + "\n");
  }

  // A program that writes its arguments, and does what `also` says, for output() to read.
  std::string script(const std::string& also = {}) const {
    return m_home.write("script", "#!/bin/sh\nprintf '%s|' \"$@\" " + also + " > " + (m_home / "out"), 0755);
  }

  // Makes the script open files of these types.
  void openWithScript(const std::string& types) const {
    entry("opener", "Exec=" + script() + " %u");
    m_home.write(".config/mimeapps.list", "[Default Applications]\n" + types);
  }

  // What the script writes; waits for it.
  std::string output() const { return contentOf(m_home / "out"); }

  TempHome m_home;
  const std::shared_ptr<Workspace> m_workspace = makeService<Workspace>();
};

// --- Icons.

class IconTest : public WorkspaceTest {
 protected:
  // Three themes that inherit each other in a circle, and hicolor.
  IconTest() {
    theme(".icons/Leaf", "Inherits=Middle\n",
          {{"16", "Size=16\nType=Fixed"},
           {"32@2", "Size=32\nScale=2\nType=Fixed"},
           {"32", "Size=32"},
           {"48", "Size=48\nThreshold=6\nType=Threshold"},
           {"any", "Size=128\nMinSize=64\nMaxSize=256\nType=Scalable"},
           {"odd", "Size=-1"},
           {"vast", "Size=2147483647\nScale=2147483647\nType=Fixed"}});
    theme(".local/share/icons/Middle", "Inherits=hicolor,Leaf, Base,Missing,\n");
    theme("system/icons/Base", "Inherits=Middle\n");
    theme("system/icons/hicolor");
    m_home.write(".config/kdeglobals", "[Icons]\nTheme=Leaf\n");
  }

  void theme(const std::string& path, const std::string& lines = {},
             const std::vector<std::pair<std::string, std::string>>& folders = {{"48", "Size=48"}}) const {
    std::string index = "[Icon Theme]\nName=Test\n" + lines + "Directories=";
    for (const auto& [folder, _] : folders) index += folder + ",";
    for (const auto& [folder, keys] : folders) index += "\n[" + folder + "]\n" + keys + "\n";
    m_home.write(path + "/index.theme", index);
  }

  // Where in the home folder the picture of a file is.
  std::string pictureOf(const std::string& path, int size = 48) const {
    const auto file = makeService<Workspace>()->iconFile(path, size);
    return file ? fs::path(*file).lexically_relative(m_home.path()).string() : "none";
  }

  // The same for the name of an icon.
  std::string find(const std::string& icon, int size = 48) const {
    return pictureOf(entry("icon", "Icon=" + icon), size);
  }

  void pictures(const std::string& folder, const std::vector<std::string>& names) const {
    for (const std::string& name : names) m_home.write(folder + "/" + name, "picture");
  }
};

TEST_F(IconTest, ThePictureOfTheWantedOrNearestSizeIsFound) {
  pictures(".icons/Leaf", {"16/a.png", "32/a.png", "48/a.png", "any/a.svg", "16/b.png", "48/b.png", "32@2/c.png",
                           "32/c.png", "vast/d.png", "odd/e.png"});
  const std::tuple<const char*, int, const char*> cases[] = {
      {"a", 16, "16/a.png"}, {"a", 17, "16/a.png"},   {"a", 30, "32/a.png"},   {"a", 34, "32/a.png"},
      {"a", 42, "48/a.png"}, {"a", 55, "48/a.png"},   {"a", 57, "any/a.svg"},  {"a", 256, "any/a.svg"},
      {"b", 31, "16/b.png"}, {"b", 33, "48/b.png"},   {"b", 32, "16/b.png"},   {"a", 400, "any/a.svg"},
      {"c", 32, "32/c.png"}, {"c", 64, "32@2/c.png"}, {"d", 48, "vast/d.png"},
  };
  for (const auto& [name, size, found] : cases)
    EXPECT_EQ(find(name, size), std::string(".icons/Leaf/") + found) << name << " of " << size;
  EXPECT_EQ(find("e"), "none") << "a folder of no size";
}

TEST_F(IconTest, ThemesAreAskedInTheOrderOfInheritance) {
  pictures(".icons/Leaf", {"48/a.png", "16/g.png", "48/h.svg", "48/h.png", "48/i.xpm"});
  pictures(".local/share/icons", {"Middle/48/a.png", "Middle/48/b.png", "d.png", "e.svg"});
  pictures("system/icons", {"Base/48/b.png", "Base/48/c.png", "Base/48/g.png", "hicolor/48/c.png", "hicolor/48/d.png"});
  pictures("system/icons/Leaf", {"48/f.png"});  // another folder of the same theme
  const std::pair<std::string, std::string> cases[] = {
      {"a", ".icons/Leaf/48/a.png"},
      {"b", ".local/share/icons/Middle/48/b.png"},
      {"d", "system/icons/hicolor/48/d.png"},
      {"e", ".local/share/icons/e.svg"},
      {"f", "system/icons/Leaf/48/f.png"},
      {"h.png", ".icons/Leaf/48/h.png"},
      {m_home / ".icons/Leaf/48/h.svg", ".icons/Leaf/48/h.svg"},
  };
  for (const auto& [name, found] : cases) EXPECT_EQ(find(name), found);
  for (const std::string name : {"i", "../48/a", "", ".icons/Leaf/48/i.xpm", "missing.png"})
    for (const std::string& icon : {name, m_home / name}) EXPECT_EQ(find(icon), "none") << icon;
}

TEST_F(IconTest, AFileWithoutAPictureOfItsOwnGetsThatOfItsKind) {
  pictures(".icons/Leaf/48", {"text-x-generic.png"});
  pictures("system/icons", {"Base/48/inode-directory.png", "hicolor/48/folder.png"});
  EXPECT_EQ(pictureOf(m_home / "system"), "system/icons/Base/48/inode-directory.png");
  EXPECT_EQ(find("missing"), ".icons/Leaf/48/text-x-generic.png");
  for (const std::string& path : {std::string(), m_home / "missing", m_home / "missing.desktop"})
    EXPECT_EQ(pictureOf(path), "none");
}

TEST_F(IconTest, TheUsersSettingNamesTheTheme) {
  for (const std::string name : {"Leaf", "Chosen", "Default", "Adwaita"}) {
    theme(".icons/" + name);
    pictures(".icons/" + name + "/48", {"a.png"});
  }
  const auto expect = [&](const std::string& kde, const std::string& chosen) {
    m_home.write(".config/kdeglobals", "[Icons]\n" + kde);
    EXPECT_EQ(find("a"), ".icons/" + chosen + "/48/a.png");
    _exit(HasFailure() ? 1 : 0);  // GLib reads its settings once per process
  };
  EXPECT_EXIT(expect("", "Adwaita"), ExitedWithCode(0), "") << "the system has no settings";
  m_home.write("schemas/test.gschema.xml",
               "<schemalist><schema id='org.gnome.desktop.interface' path='/org/gnome/desktop/interface/'>"
               "<key name='icon-theme' type='s'><default>'Default'</default></key></schema></schemalist>");
  ASSERT_EQ(std::system(("glib-compile-schemas " + (m_home / "schemas")).c_str()), 0);
  m_home.set("GSETTINGS_SCHEMA_DIR", (m_home / "schemas").c_str());
  m_home.set("GSETTINGS_BACKEND", "keyfile");
  EXPECT_EXIT(expect("", "Default"), ExitedWithCode(0), "");
  EXPECT_EXIT(expect("Theme=Leaf\n", "Leaf"), ExitedWithCode(0), "");
  m_home.write(".config/glib-2.0/settings/keyfile", "[org/gnome/desktop/interface]\nicon-theme='Chosen'\n");
  EXPECT_EXIT(expect("Theme=Leaf\n", "Chosen"), ExitedWithCode(0), "");
}

// --- Applications.

TEST_F(WorkspaceTest, ApplicationsAreFoundByIdentifier) {
  const std::pair<std::string, std::string> found[] = {
      {"Plain.desktop", entry("Plain", "Exec=/bin/true")},
      {"Invisible", entry("Invisible", "Exec=/bin/true\nNoDisplay=true")},
      {"OnBus", entry("OnBus", "DBusActivatable=true")},
      {"vendor-App", entry("vendor/App", "Exec=true")},
      {"System", entry("System", "Exec=/bin/true", "system")},
  };
  const std::pair<std::string, std::string> refused[] = {
      {"Hidden", entry("Hidden", "Exec=/bin/true\nHidden=true")},
      {"NoExec", entry("NoExec", "")},
      {"Gone", entry("Gone", "Exec=/nonexistent/program")},
      {"../outside", entry("../outside", "Exec=/bin/true")},
      {"", entry("", "Exec=/bin/true")},
  };
  entry("Hidden", "Exec=/bin/true", "system");
  // Only now, because what is written after the first look is seen with a delay.
  for (const auto& [identifier, path] : found) EXPECT_EQ(Bundle::path(identifier), path);
  for (const auto& [identifier, path] : refused) {
    for (const std::string& asked : {identifier, path}) {
      EXPECT_EQ(Bundle::path(asked), std::nullopt) << asked;
      EXPECT_FALSE(Bundle::launch(asked)) << asked;
    }
  }
}

TEST_F(WorkspaceTest, LaunchStartsTheProgramWithoutAMainLoop) {
  m_home.set("DESKTOP_STARTUP_ID", "token");
  entry("a.b.App", "Exec=" + script("\"$DESKTOP_STARTUP_ID\"") + " one \"two three\" %U");
  EXPECT_TRUE(Bundle::launch("a.b.App"));
  EXPECT_EQ(output(), "one|two three|token|");
  bool launched = false;
  std::thread([&] { launched = Bundle::launch("a.b.App", LaunchOptions::WITHOUT_ACTIVATION); }).join();
  EXPECT_TRUE(launched);
  EXPECT_EQ(output(), "one|two three||");
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left for the application to collect";
}

TEST_F(WorkspaceTest, ApplicationsOnTheBusAreLaunchedOnlyIfTheyAnswer) {
  const PrivateBus bus;
  entry("a.b.OnBus", "DBusActivatable=true\nExec=/bin/true");
  EXPECT_FALSE(Bundle::launch("a.b.OnBus")) << "nothing on the bus has the name";
  BusService service("a.b.OnBus");
  EXPECT_TRUE(Bundle::launch("a.b.OnBus"));
  EXPECT_THAT(service.calls(), ElementsAre(StartsWith("/a/b/OnBus org.freedesktop.Application.Activate(")));
}

TEST_F(WorkspaceTest, OpenUsesTheDefaultApplication) {
  openWithScript("inode/directory=opener.desktop\ntext/plain=opener.desktop\nx-scheme-handler/test=opener.desktop\n");
  const std::string file = m_home.write("a file.txt", "text");
  for (const std::string& what : {file, m_home / "run", std::string("test:to/open?x=1")}) {
    EXPECT_TRUE(m_workspace->open(what)) << what;
    EXPECT_EQ(output(), what + "|");
  }
  for (const std::string& what :
       {m_home / "missing", "file://" + (m_home / "missing"), std::string("unknown:x"), std::string()})
    EXPECT_FALSE(m_workspace->open(what)) << what;
}

// --- The file browser.

constexpr const char* FILE_MANAGER = "org.freedesktop.FileManager1";

TEST_F(WorkspaceTest, RevealAsksTheFileBrowserToShowTheFile) {
  const PrivateBus bus;
  EXPECT_FALSE(m_workspace->reveal(m_home.path())) << "nothing shows folders";
  BusService browser(FILE_MANAGER);
  EXPECT_TRUE(m_workspace->reveal(m_home.write("a file", "")));
  EXPECT_TRUE(m_workspace->reveal(m_home / "run/"));
  EXPECT_FALSE(m_workspace->reveal(m_home / "missing"));
  const std::string call = "/org/freedesktop/FileManager1 org.freedesktop.FileManager1.ShowItems(['file://";
  EXPECT_THAT(browser.calls(),
              ElementsAre(call + (m_home / "a%20file") + "'], '')", call + (m_home / "run") + "'], '')"));
}

TEST_F(WorkspaceTest, WithoutAFileBrowserOnTheBusRevealOpensTheFolder) {
  openWithScript("inode/directory=opener.desktop\n");
  EXPECT_TRUE(m_workspace->reveal(m_home.write("folder/file", ""))) << "no bus";
  EXPECT_EQ(output(), (m_home / "folder") + "|");
  const PrivateBus bus;
  EXPECT_TRUE(m_workspace->reveal(m_home / "folder/")) << "an empty bus";
  EXPECT_EQ(output(), m_home.path().string() + "|") << "a folder is shown in its own folder";
}

TEST_F(WorkspaceTest, ServicesThatDoNotAnswerCostFiveSecondsAtMost) {
  const PrivateBus bus;
  BusService browser(FILE_MANAGER, BusService::Manner::IS_SILENT);
  BusService application("a.b.OnBus", BusService::Manner::IS_SILENT);
  entry("a.b.OnBus", "DBusActivatable=true");
  const auto start = std::chrono::steady_clock::now();
  Result<void> launched;
  std::thread launching([&] { launched = m_workspace->launch("a.b.OnBus", LaunchOptions::DEFAULT); });
  const auto revealed = m_workspace->reveal(m_home / "run");
  launching.join();
  ASSERT_FALSE(launched || revealed);
  EXPECT_EQ(launched.error().description, "no answer in time");
  // No time is left to open the folder.
  EXPECT_THAT(revealed.error().description, ContainsRegex("file browser .* no answer in time"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15))
      << "the limit, with room for a busy machine";
}

}  // namespace
}  // namespace corvane
