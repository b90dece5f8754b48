#include "corvane/platform/Workspace.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <iterator>
#include <thread>

#include "corvane/core/Mutex.h"
#include "corvane/infra/Bundle.h"
#include "corvane/platform/linux/GLibSupport.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;
using testing::ElementsAre;

// Owns a name on the bus; notes every call of its own methods and answers with nothing, or not at all. Calls come in on
// the connection's own thread.
class BusService {
 public:
  enum class Manner { ANSWERS, IS_SILENT };

  BusService(const std::string& name, Manner manner)
      : m_manner(manner), m_bus(glib::privateBus(G_BUS_TYPE_SESSION).value()) {
    const GDBusMessageFilterFunction received = [](GDBusConnection* bus, GDBusMessage* message, gboolean incoming,
                                                   gpointer self) {
      return incoming ? static_cast<BusService*>(self)->take(bus, message) : message;
    };
    g_dbus_connection_add_filter(m_bus.get(), received, this, nullptr);
    const glib::Ptr<GVariant> owned(g_dbus_connection_call_sync(
        m_bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", name.c_str(), 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
  }

  ~BusService() { g_dbus_connection_close_sync(m_bus.get(), nullptr, nullptr); }

  std::vector<std::string> calls() {
    MutexLock lock(m_mutex);
    return m_calls;
  }

 private:
  GDBusMessage* take(GDBusConnection* bus, GDBusMessage* message) {
    if (g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) return message;
    const glib::Ptr<gchar> arguments(g_variant_print(g_dbus_message_get_body(message), FALSE));
    MutexLock lock(m_mutex);
    m_calls.push_back(std::string(g_dbus_message_get_path(message)) + " " + g_dbus_message_get_interface(message) +
                      "." + g_dbus_message_get_member(message) + arguments.get());
    if (m_manner == Manner::ANSWERS) {
      const glib::Ptr<GDBusMessage> reply(g_dbus_message_new_method_reply(message));
      g_dbus_connection_send_message(bus, reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    }
    g_object_unref(message);
    return nullptr;
  }

  const Manner m_manner;
  const glib::Ptr<GDBusConnection> m_bus;
  Mutex m_mutex;
  std::vector<std::string> m_calls CORVANE_GUARDED_BY(m_mutex);
};

class WorkspaceTest : public testing::Test {
 protected:
  WorkspaceTest() { m_home.set("XDG_DATA_DIRS", (m_home / "system").c_str()); }

  // Writes a desktop entry of the user.
  std::string entry(const std::string& name, const std::string& lines) const {
    return m_home.write(".local/share/applications/" + name,
                        "[Desktop Entry]\nType=Application\nName=Test\n" + lines + "\n");
  }

  // A script that writes its arguments, and what `also` says, into a file of its name.
  std::string script(const std::string& name, const std::string& also = {}) const {
    const std::string out = m_home / (name + ".out");
    return m_home.write(
        name, "#!/bin/sh\nprintf '%s|' \"$@\" " + also + " > '" + out + "~'\nmv '" + out + "~' '" + out + "'\n", 0755);
  }

  // What a script has written; waits for it.
  std::string output(const std::string& name) const {
    const fs::path out = m_home / (name + ".out");
    const auto limit = steady_clock::now() + std::chrono::seconds(20);
    while (!fs::exists(out) && steady_clock::now() < limit) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::ifstream file(out);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    fs::remove(out);
    return text;
  }

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
           {"32", "Size=32"},
           {"48", "Size=48\nThreshold=6\nType=Threshold"},
           {"any", "Size=128\nMinSize=64\nMaxSize=256\nType=Scalable"},
           {"32@2", "Size=32\nScale=2\nType=Fixed"},
           {"odd", "Size=-1"},
           {"vast", "Size=2147483647\nScale=2147483647\nType=Fixed"}});
    theme(".local/share/icons/Middle", "Inherits=hicolor,Leaf, Base,Missing,\n", {{"48", "Size=48"}});
    theme("system/icons/Base", "Inherits=Middle\n", {{"48", "Size=48"}});
    theme("system/icons/hicolor", "", {{"48", "Size=48"}});
    m_home.write(".config/kdeglobals", "[Icons]\nTheme=Leaf\n");
  }

  void theme(const std::string& path, const std::string& lines,
             const std::vector<std::pair<std::string, std::string>>& folders) const {
    std::string index = "[Icon Theme]\nName=Test\n" + lines + "Directories=";
    for (const auto& [folder, _] : folders) index += folder + ",";
    for (const auto& [folder, keys] : folders) index += "\n[" + folder + "]\n" + keys + "\n";
    m_home.write(path + "/index.theme", index);
  }

  // Where the picture of a file lies in the home folder.
  std::string pictureOf(const std::string& path, int size = 48) const {
    const auto file = makeService<Workspace>()->iconFile(path, size);
    return file ? fs::path(*file).lexically_relative(m_home.path()).string() : "none";
  }

  // The same for the name of an icon.
  std::string find(const std::string& icon, int size = 48) const {
    return pictureOf(entry("icon.desktop", "Icon=" + icon), size);
  }

  void pictures(const std::vector<std::string>& paths) const {
    for (const std::string& path : paths) m_home.write(path, "picture");
  }
};

TEST_F(IconTest, ThePictureOfTheWantedOrNearestSizeIsFound) {
  pictures({".icons/Leaf/16/a.png", ".icons/Leaf/32/a.png", ".icons/Leaf/48/a.png", ".icons/Leaf/any/a.svg",
            ".icons/Leaf/16/b.png", ".icons/Leaf/48/b.png", ".icons/Leaf/32@2/c.png", ".icons/Leaf/32/c.png",
            ".icons/Leaf/vast/d.png", ".icons/Leaf/odd/e.png", ".icons/Leaf/any/f.svg"});
  const struct {
    std::string name;
    int size;
    std::string found;
  } cases[] = {
      {"a", 16, "16/a.png"},   {"a", 17, "16/a.png"},   {"a", 30, "32/a.png"},  {"a", 34, "32/a.png"},
      {"a", 42, "48/a.png"},   {"a", 55, "48/a.png"},   {"a", 57, "any/a.svg"}, {"a", 64, "any/a.svg"},
      {"a", 256, "any/a.svg"}, {"a", 400, "any/a.svg"}, {"b", 31, "16/b.png"},  {"b", 33, "48/b.png"},
      {"b", 32, "16/b.png"},   {"c", 64, "32@2/c.png"}, {"c", 32, "32/c.png"},  {"d", 48, "vast/d.png"},
      {"f", 16, "any/f.svg"},
  };
  for (const auto& [name, size, found] : cases)
    EXPECT_EQ(find(name, size), ".icons/Leaf/" + found) << name << " of " << size;
  EXPECT_EQ(find("e"), "none") << "a folder of no size";
}

TEST_F(IconTest, ThemesAreAskedInTheOrderOfInheritance) {
  pictures({".icons/Leaf/48/a.png", ".local/share/icons/Middle/48/a.png", ".local/share/icons/Middle/48/b.png",
            "system/icons/Base/48/b.png", "system/icons/Base/48/c.png", "system/icons/hicolor/48/c.png",
            "system/icons/hicolor/48/d.png", ".local/share/icons/d.png", ".local/share/icons/e.svg",
            "system/icons/Leaf/48/f.png",  // another folder of the same theme
            ".icons/Leaf/16/g.png", "system/icons/Base/48/g.png", ".icons/Leaf/48/h.svg", ".icons/Leaf/48/h.png",
            ".icons/Leaf/48/i.xpm"});
  const std::pair<std::string, std::string> cases[] = {
      {"a", ".icons/Leaf/48/a.png"},
      {"b", ".local/share/icons/Middle/48/b.png"},
      {"c", "system/icons/Base/48/c.png"},
      {"d", "system/icons/hicolor/48/d.png"},
      {"e", ".local/share/icons/e.svg"},
      {"f", "system/icons/Leaf/48/f.png"},
      {"g", ".icons/Leaf/16/g.png"},
      {"h", ".icons/Leaf/48/h.png"},
      {"h.png", ".icons/Leaf/48/h.png"},
      {"i", "none"},
      {"../48/a", "none"},
      {"..", "none"},
      {"", "none"},
      {m_home / ".icons/Leaf/48/h.svg", ".icons/Leaf/48/h.svg"},
      {m_home / ".icons/Leaf/48/i.xpm", "none"},
      {m_home / "missing.png", "none"},
  };
  for (const auto& [name, found] : cases) EXPECT_EQ(find(name), found) << name;
}

TEST_F(IconTest, WithoutAPictureOfItsOwnAFileGetsThatOfItsKind) {
  EXPECT_EQ(find("missing"), "none");
  pictures({".icons/Leaf/48/text-x-generic.png", "system/icons/Base/48/inode-directory.png",
            "system/icons/hicolor/48/folder.png"});
  EXPECT_EQ(pictureOf(m_home / "system"), "system/icons/Base/48/inode-directory.png");
  EXPECT_EQ(find("missing"), ".icons/Leaf/48/text-x-generic.png");
  fs::create_symlink("nowhere", m_home / "dangling");
  EXPECT_EQ(pictureOf(m_home / "dangling"), ".icons/Leaf/48/text-x-generic.png");
  for (const char* path : {"missing", "missing.desktop", "dangling/below"})
    EXPECT_FALSE(m_workspace->iconFile(m_home / path, 48)) << path;
  EXPECT_FALSE(m_workspace->iconFile("", 48));
}

struct Settings {
  const char *gnome, *kde, *theme;
  friend void PrintTo(const Settings& settings, std::ostream* out) { *out << settings.theme; }
};

class IconSettingTest : public IconTest, public testing::WithParamInterface<Settings> {};

TEST_P(IconSettingTest, TheUsersSettingNamesTheTheme) {
  const auto& [gnome, kde, chosen] = GetParam();
  m_home.write("schemas/test.gschema.xml",
               "<schemalist><schema id='org.gnome.desktop.interface' path='/org/gnome/desktop/interface/'>"
               "<key name='icon-theme' type='s'><default>'Default'</default></key></schema></schemalist>");
  ASSERT_EQ(std::system(("glib-compile-schemas " + (m_home / "schemas")).c_str()), 0);
  m_home.set("GSETTINGS_SCHEMA_DIR", (m_home / "schemas").c_str());
  m_home.set("GSETTINGS_BACKEND", "keyfile");
  m_home.write(".config/glib-2.0/settings/keyfile", gnome);
  m_home.write(".config/kdeglobals", kde);
  for (const std::string name : {"Leaf", "Chosen", "Default", "Adwaita"}) {
    theme(".icons/" + name, "", {{"48", "Size=48"}});
    pictures({".icons/" + name + "/48/a.png"});
  }
  EXPECT_EQ(find("a"), std::string(".icons/") + chosen + "/48/a.png");
}

constexpr const char* GNOME_CHOSEN = "[org/gnome/desktop/interface]\nicon-theme='Chosen'\n";
constexpr const char* KDE_LEAF = "[Icons]\nTheme=Leaf\n";
INSTANTIATE_TEST_SUITE_P(Order, IconSettingTest,
                         testing::Values(Settings{GNOME_CHOSEN, KDE_LEAF, "Chosen"}, Settings{"", KDE_LEAF, "Leaf"},
                                         Settings{"", "[Icons]\n", "Default"}));

TEST_F(IconTest, WithoutASettingTheThemeIsAdwaita) {
  fs::remove(m_home / ".config/kdeglobals");
  theme(".icons/Adwaita", "", {{"48", "Size=48"}});
  pictures({".icons/Adwaita/48/a.png"});
  EXPECT_EQ(find("a"), ".icons/Adwaita/48/a.png");
}

// The theme and the file types that this machine has.
TEST_F(WorkspaceTest, FilesHavePicturesInARealTheme) {
  if (!fs::exists("/usr/share/icons/Adwaita/48x48/places/folder.png")) GTEST_SKIP() << "no adwaita-icon-theme";
  m_home.set("XDG_DATA_DIRS", "/usr/share");
  const std::pair<std::string, std::string> cases[] = {
      {m_home.write("a.txt", "text"), "text-x-generic.png"},
      {m_home.write("a.html", "<html>"), "text-html.png"},
      {m_home.write("a.png", "x"), "image-x-generic.png"},
      {m_home / "run", "inode-directory.png"},
      {m_home.path(), "user-home.png"},
      {"/usr/bin/env", "application-x-executable.png"},
      {m_home.write("a.tar.gz", "x"), "package-x-generic.png"},
  };
  for (const auto& [path, picture] : cases) {
    const auto file = m_workspace->iconFile(path, 32);
    ASSERT_TRUE(file) << path << ": " << file.error().description;
    EXPECT_EQ(fs::path(*file).filename(), picture) << path;
    EXPECT_THAT(*file, testing::StartsWith("/usr/share/icons/Adwaita/32x32/"));
  }
  EXPECT_TRUE(fs::exists(Bundle::icon("/usr/bin/env").value().sourceFile()));
}

// --- Applications.

TEST_F(WorkspaceTest, ApplicationsAreFoundByIdentifier) {
  const std::string plain = entry("a.b.Plain.desktop", "Exec=/bin/true");
  const std::string invisible = entry("a.b.Invisible.desktop", "Exec=/bin/true\nNoDisplay=true");
  const std::string onBus = entry("a.b.OnBus.desktop", "DBusActivatable=true");
  const std::string below = entry("vendor/App.desktop", "Exec=true");
  entry("a.b.Hidden.desktop", "Exec=/bin/true\nHidden=true");
  entry("a.b.NoExec.desktop", "");
  entry("a.b.EmptyExec.desktop", "Exec=");
  entry("a.b.Gone.desktop", "Exec=/nonexistent/program");
  entry("a.b.TryExec.desktop", "Exec=/bin/true\nTryExec=/nonexistent/program");
  entry("../outside.desktop", "Exec=/bin/true");
  m_home.write("system/applications/a.b.Hidden.desktop", "[Desktop Entry]\nType=Application\nName=A\nExec=/bin/true\n");
  const std::string system = m_home.write("system/applications/a.b.System.desktop",
                                          "[Desktop Entry]\nType=Application\nName=A\nExec=/bin/true\n");
  m_home.write(".local/share/applications/a.b.Junk.desktop", "junk");
  const std::pair<std::string, std::optional<std::string>> cases[] = {
      {"a.b.Plain", plain},
      {"a.b.Plain.desktop", plain},
      {"a.b.Invisible", invisible},
      {"a.b.OnBus", onBus},
      {"vendor-App", below},
      {"a.b.System", system},
      {"a.b.Hidden", {}},
      {"a.b.NoExec", {}},
      {"a.b.EmptyExec", {}},
      {"a.b.Gone", {}},
      {"a.b.TryExec", {}},
      {"a.b.Junk", {}},
      {"a.b.Unknown", {}},
      {"../outside", {}},
      {plain, {}},
      {"", {}},
  };
  for (const auto& [identifier, path] : cases) {
    EXPECT_EQ(Bundle::path(identifier), path) << identifier;
    if (!path) {
      EXPECT_FALSE(Bundle::launch(identifier)) << identifier;
    }
  }
}

TEST_F(WorkspaceTest, LaunchStartsTheProgramWithoutAMainLoop) {
  m_home.set("DESKTOP_STARTUP_ID", "token");
  entry("a.b.App.desktop", "Exec=" + script("app", "\"$DESKTOP_STARTUP_ID\"") + " one \"two three\" %U");
  EXPECT_TRUE(Bundle::launch("a.b.App"));
  EXPECT_EQ(output("app"), "one|two three|token|");
  bool launched = false;
  std::thread([&] { launched = Bundle::launch("a.b.App", LaunchOptions::WITHOUT_ACTIVATION); }).join();
  EXPECT_TRUE(launched);
  EXPECT_EQ(output("app"), "one|two three||");
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left for the application to collect";
}

TEST_F(WorkspaceTest, ApplicationsOnTheBusAreLaunchedOnlyIfTheyAnswer) {
  const PrivateBus bus;
  entry("a.b.OnBus.desktop", "DBusActivatable=true\nExec=/bin/true");
  EXPECT_FALSE(Bundle::launch("a.b.OnBus")) << "nothing on the bus has the name";
  BusService service("a.b.OnBus", BusService::Manner::ANSWERS);
  EXPECT_TRUE(Bundle::launch("a.b.OnBus"));
  EXPECT_THAT(service.calls(), ElementsAre(testing::StartsWith("/a/b/OnBus org.freedesktop.Application.Activate(")));
}

TEST_F(WorkspaceTest, OpenUsesTheDefaultApplication) {
  entry("opener.desktop", "Exec=" + script("opener") + " %u");
  m_home.write(".config/mimeapps.list",
               "[Default Applications]\ninode/directory=opener.desktop\ntext/plain=opener.desktop\n"
               "application/octet-stream=opener.desktop\nx-scheme-handler/test=opener.desktop\n");
  const std::string file = m_home.write("a file.txt", "text");
  const std::pair<std::string, std::optional<std::string>> cases[] = {
      {file, file + "|"},
      {m_home / "run/", (m_home / "run") + "|"},
      {"test:to/open?x=1", "test:to/open?x=1|"},
      {m_home / "missing", {}},
      {"file://" + (m_home / "missing"), {}},
      {"unknown-scheme:x", {}},
      {"", {}},
  };
  for (const auto& [what, opened] : cases) {
    const auto result = m_workspace->open(what);
    EXPECT_EQ(result.has_value(), opened.has_value()) << what << (result ? "" : ": " + result.error().description);
    if (opened && result) {
      EXPECT_EQ(output("opener"), *opened);
    }
  }
}

// --- The file browser.

constexpr const char* FILE_MANAGER = "org.freedesktop.FileManager1";

TEST_F(WorkspaceTest, RevealAsksTheFileBrowserToShowTheFile) {
  const PrivateBus bus;
  BusService browser(FILE_MANAGER, BusService::Manner::ANSWERS);
  EXPECT_TRUE(m_workspace->reveal(m_home.write("a file", "")));
  EXPECT_TRUE(m_workspace->reveal(m_home / "run/"));
  EXPECT_FALSE(m_workspace->reveal(m_home / "missing"));
  const std::string call = "/org/freedesktop/FileManager1 org.freedesktop.FileManager1.ShowItems(['file://";
  EXPECT_THAT(browser.calls(),
              ElementsAre(call + (m_home / "a%20file") + "'], '')", call + (m_home / "run") + "'], '')"));
}

TEST_F(WorkspaceTest, WithoutAFileBrowserOnTheBusRevealOpensTheFolder) {
  const std::string file = m_home.write("folder/file", "");
  EXPECT_FALSE(m_workspace->reveal(file)) << "nothing opens folders";
  entry("opener.desktop", "Exec=" + script("opener") + " %u");
  m_home.write(".config/mimeapps.list", "[Default Applications]\ninode/directory=opener.desktop\n");
  const auto revealed = [this](const std::string& path) {
    const auto result = makeService<Workspace>()->reveal(path);
    return result ? output("opener") : result.error().description;
  };
  EXPECT_EQ(revealed(file), (m_home / "folder") + "|") << "no bus";
  const PrivateBus bus;
  EXPECT_EQ(revealed(file), (m_home / "folder") + "|") << "an empty bus";
  EXPECT_EQ(revealed(m_home / "folder/"), m_home.path().string() + "|") << "a folder is shown in its own folder";
}

TEST_F(WorkspaceTest, ServicesThatDoNotAnswerCostFiveSecondsAtMost) {
  const PrivateBus bus;
  BusService browser(FILE_MANAGER, BusService::Manner::IS_SILENT);
  BusService application("a.b.OnBus", BusService::Manner::IS_SILENT);
  entry("a.b.OnBus.desktop", "DBusActivatable=true");
  const auto start = steady_clock::now();
  Result<void> launched;
  std::thread launching([&] { launched = m_workspace->launch("a.b.OnBus", LaunchOptions::DEFAULT); });
  const auto revealed = m_workspace->reveal(m_home / "run");
  launching.join();
  const auto waited = steady_clock::now() - start;
  for (const Result<void>& result : {launched, revealed}) {
    ASSERT_FALSE(result);
    EXPECT_THAT(result.error().description, testing::HasSubstr("no answer within 5 s"));
  }
  EXPECT_EQ(browser.calls().size(), 1U);
  EXPECT_EQ(application.calls().size(), 1U);
  EXPECT_GE(waited, std::chrono::milliseconds(4900));
  EXPECT_LT(waited, std::chrono::seconds(15)) << "the limit, with room for a busy machine";
}

}  // namespace
}  // namespace corvane
