#include "corvane/system/PID.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <tuple>

#include "corvane/core/Log.h"
#include "corvane/linux/x11/X11Connection.h"
#include "tests/support/BusService.h"
#include "tests/support/Child.h"
#include "tests/support/Conditions.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using std::chrono::steady_clock;
using Names = std::vector<std::string>;

Names s_log;
constexpr LogSink SINK = {[](std::string_view line) { s_log.emplace_back(line); }, [] { return true; }};

// Every member of a PID that does not exist.
void expectNobody(std::int32_t pid) {
  const PID nobody(pid);
  EXPECT_EQ(nobody.path() + nobody.name() + nobody.bundlePath(), "") << pid;
  EXPECT_FALSE(nobody.isApplication() || nobody.isFrontMost()) << pid;
  nobody.bringToFront();
}

TEST(PIDTest, DescribesProcesses) {
  const TempHome home;
  const PID self(getpid());
  EXPECT_EQ(self.path(), fs::read_symlink("/proc/self/exe"));
  EXPECT_EQ(self.name(), fs::path(self.path()).filename());
  EXPECT_EQ(self.priority(), getpriority(PRIO_PROCESS, 0));
  EXPECT_FALSE(self.isApplication() || self.isFrontMost());
  EXPECT_EQ(self.bundlePath(), "");

  const Child strange([] {
    setpriority(PRIO_PROCESS, 0, 19);  // permitted whatever this process's own is
    prctl(PR_SET_NAME, "a\xFF/b c");
  });
  EXPECT_EQ(PID(strange.pid()).priority(), 19);
  EXPECT_EQ(PID(strange.pid()).name(), "a\xEF\xBF\xBD/b c");
  EXPECT_EXIT(PID(-1).priority(), testing::KilledBySignal(SIGABRT), "fatal: PID.priority");
}

TEST(PIDTest, AMissingProcessGivesEmptyAnswers) {
  const TempHome home;
  for (const std::int32_t pid : {-1, INT32_MIN, INT32_MAX, 0}) expectNobody(pid);
  EXPECT_EQ(PID(INT32_MAX).priority(), -1);
}

// A display of its own with a window manager.
class Desktop {
 public:
  using Window = xcb_window_t;

  explicit Desktop(TempHome& home) : m_home(home) { start(); }
  ~Desktop() {
    x.reset();
    // Let it remove its files.
    kill(server->pid(), SIGTERM);
    waitUntil([this] { return !fs::exists("/tmp/.X" + display.substr(1) + "-lock"); });
  }
  Desktop(const Desktop&) = delete;
  Desktop& operator=(const Desktop&) = delete;

  // Starts a server, the first time on a free display, and a window manager.
  void start() {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    ASSERT_NE(fcntl(ends[1], F_SETFD, 0), -1);
    // It dies with the test, however that ends.
    Names command = {"setpriv", "--pdeathsig", "KILL",       "Xvfb",      "-displayfd", std::to_string(ends[1]),
                     "-screen", "0",           "640x400x24", "-nolisten", "tcp",        "-noreset"};
    if (!display.empty()) command.push_back(display);
    server = std::make_unique<Child>(command);
    close(ends[1]);
    std::string number;
    for (char c = 0; read(ends[0], &c, 1) == 1 && c != '\n';) number += c;
    close(ends[0]);
    ASSERT_NE(number, "") << "the server runs";
    display = ":" + number;
    m_home.set("DISPLAY", display.c_str());
    x = X11Connection::open(display);
    manager = std::make_unique<Child>(Names{"openbox", "--sm-disable"});
    // Set once it manages windows; a window that Tk creates earlier may never be shown.
    EXPECT_TRUE(waitUntil([&] { return !windows("_NET_WORKAREA").empty(); })) << "the window manager runs";
  }

  // A process with windows of a class, "TITLE1" and so on, one above the other, shown and managed.
  std::unique_ptr<Child> show(const std::string& title, int count, const std::string& name,
                              const std::string& type = "normal", const std::string& program = "wish") {
    const std::size_t before = stacking().size();
    auto child = std::make_unique<Child>(Names{program, m_script, title, std::to_string(count), name, type});
    EXPECT_TRUE(waitUntil([&] { return stacking().size() == before + static_cast<std::size_t>(count); })) << title;
    return child;
  }

  // The titles of the windows, from the lowest to the highest.
  Names stacking() {
    Names titles;
    for (const Window window : windows("_NET_CLIENT_LIST_STACKING")) titles.push_back(title(window));
    return titles;
  }

  std::string active() {
    const auto windows = this->windows("_NET_ACTIVE_WINDOW");
    return windows.empty() ? "" : title(windows.front());
  }

  // Puts words into a property of a window.
  void set(Window window, const char* name, xcb_atom_t type, std::uint8_t format,
           const std::vector<std::uint32_t>& words) {
    xcb_change_property(x->get(), XCB_PROP_MODE_REPLACE, window, atom(name), type, format,
                        static_cast<std::uint32_t>(words.size() * 32 / format), words.data());
    x->answer(xcb_get_input_focus_reply, xcb_get_input_focus(x->get()));
  }

  std::vector<Window> windows(const char* property) { return get<Window>(x->root(), atom(property)); }

  std::string display;
  std::unique_ptr<Child> server;
  std::unique_ptr<Child> manager;
  std::unique_ptr<X11Connection> x;

 private:
  xcb_atom_t atom(std::string_view name) {
    const auto length = static_cast<std::uint16_t>(name.size());
    return x->answer(xcb_intern_atom_reply, xcb_intern_atom(x->get(), 0, length, name.data()))->atom;
  }

  template <class T>
  std::vector<T> get(Window window, xcb_atom_t property) {
    const auto question = xcb_get_property(x->get(), 0, window, property, XCB_ATOM_ANY, 0, 4096);
    const auto reply = x->answer(xcb_get_property_reply, question);
    if (!reply) return {};
    const auto* const first = static_cast<const T*>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
  }

  std::string title(Window window) {
    const auto text = get<char>(window, XCB_ATOM_WM_NAME);
    return {text.begin(), text.end()};
  }

  TempHome& m_home;
  const std::string m_script = m_home.write("windows.tcl", R"(wm withdraw .
lassign $argv title count class type
for {set i 1} {$i <= $count} {incr i} {
  toplevel .w$i -class $class
  wm title .w$i $title$i
  wm geometry .w$i 60x40+[expr {20 * $i}]+20
  wm attributes .w$i -type $type
  tkwait visibility .w$i
}
)");
};

TEST(PIDTest, ApplicationsComeToTheFrontWithAllWindows) {
  TempHome home;
  Desktop desktop(home);
  const auto a = desktop.show("a", 2, "Alpha");
  const auto b = desktop.show("b", 2, "Beta");
  // Its windows claim to be the other one's.
  for (const auto window : desktop.windows("_NET_CLIENT_LIST"))
    desktop.set(window, "_NET_WM_PID", XCB_ATOM_CARDINAL, 32, {static_cast<std::uint32_t>(a->pid())});
  const auto dock = desktop.show("d", 1, "Dock", "dock");
  const PID alpha(a->pid()), beta(b->pid());
  EXPECT_TRUE(alpha.isApplication() && beta.isApplication());
  EXPECT_FALSE(PID(dock->pid()).isApplication() || PID(getpid()).isApplication());
  ASSERT_TRUE(waitUntil([&] { return desktop.active() == "b2"; }));
  EXPECT_TRUE(beta.isFrontMost());
  EXPECT_FALSE(alpha.isFrontMost() || PID(dock->pid()).isFrontMost());

  const auto order = [&desktop] {
    Names titles = desktop.stacking();
    std::erase(titles, "d1");  // stays above
    return titles;
  };
  ASSERT_EQ(order(), (Names{"a1", "a2", "b1", "b2"}));
  for (const auto& [pid, other, expected] : {std::tuple(alpha, beta, Names{"b1", "b2", "a1", "a2"}),
                                             std::tuple(beta, alpha, Names{"a1", "a2", "b1", "b2"})}) {
    pid.bringToFront();
    EXPECT_TRUE(waitUntil([&] { return order() == expected && desktop.active() == expected.back(); }))
        << testing::PrintToString(order()) << desktop.active();
    EXPECT_TRUE(pid.isFrontMost());
    EXPECT_FALSE(other.isFrontMost());
    PID(dock->pid()).bringToFront();
    EXPECT_TRUE(pid.isFrontMost());
  }
}

TEST(PIDTest, DesktopEntriesAreFoundByTheWindowsClass) {
  TempHome home;
  const auto entry = [&home](const std::string& name, const std::string& more) {
    return home.write(".local/share/applications/" + name + ".desktop",
                      "[Desktop Entry]\nType=Application\nName=N\n" + more + "\n");
  };
  const std::string byClass = entry("org.example.First", "Exec=true\nStartupWMClass=Alpha");
  entry("alpha", "Exec=true");
  const std::string byName = entry("beta", "Exec=true");
  entry("other", "Exec=wish --mode %U");
  const std::string byExecutable = entry("children", "Exec=\"wish\" %U");
  entry("hidden", "Exec=true\nHidden=true");
  Desktop desktop(home);
  const struct {
    std::string name;
    std::string path;
  } rows[] = {{"Alpha", byClass}, {"Beta", byName}, {"hidden", byExecutable}, {"../x", byExecutable}};
  for (const auto& row : rows) {
    const auto child = desktop.show("w", 1, row.name);
    EXPECT_EQ(PID(child->pid()).bundlePath(), row.path) << row.name;
    const std::size_t before = desktop.stacking().size();
    kill(child->pid(), SIGKILL);
    ASSERT_TRUE(waitUntil([&] { return desktop.stacking().size() == before - 1; }));
    EXPECT_FALSE(PID(child->pid()).isApplication()) << "not reaped yet";
  }
  fs::remove(byExecutable);
  const auto child = desktop.show("w", 1, "None");
  EXPECT_TRUE(PID(child->pid()).isApplication());
  EXPECT_EQ(PID(child->pid()).bundlePath(), "");

  // A wrapper stands for itself.
  home.write("My.app/Contents/Info.plist", "<plist/>");
  fs::create_directories(home.path() / "My.app/Contents/MacOS");
  const std::string program = home / "My.app/Contents/MacOS/My";
  fs::copy("/usr/bin/wish", program);
  const auto wrapped = desktop.show("m", 1, "Alpha", "normal", program);
  EXPECT_EQ(PID(wrapped->pid()).bundlePath(), home / "My.app");
}

TEST(PIDTest, HostilePropertiesAndServers) {
  TempHome home;
  Desktop desktop(home);
  const auto child = desktop.show("a", 1, "Alpha");
  const PID alpha(child->pid());
  const auto window = desktop.windows("_NET_CLIENT_LIST_STACKING").front();
  ASSERT_TRUE(waitUntil([&] { return alpha.isFrontMost(); }));

  desktop.manager.reset();  // so that nothing corrects them
  const std::vector<std::uint32_t> many(200'000, window);
  std::vector<std::uint32_t> vanished;
  for (std::uint32_t i = 0; i < 5000; ++i) vanished.push_back(window + 1000 + i);
  const struct {
    xcb_atom_t type;
    std::uint8_t format;
    std::vector<std::uint32_t> words;
    bool application;
  } rows[] = {
      {XCB_ATOM_WINDOW, 32, {window}, true},  {XCB_ATOM_CARDINAL, 32, {window}, false},
      {XCB_ATOM_WINDOW, 8, {window}, false},  {XCB_ATOM_WINDOW, 32, {0, 1, 0xFFFFFFFF, 0x1FFFFF}, false},
      {XCB_ATOM_WINDOW, 32, vanished, false}, {XCB_ATOM_WINDOW, 32, many, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.type << " " << int{row.format} << " " << row.words.size());
    for (const char* property : {"_NET_CLIENT_LIST", "_NET_CLIENT_LIST_STACKING", "_NET_ACTIVE_WINDOW"})
      desktop.set(desktop.x->root(), property, row.type, row.format, row.words);
    EXPECT_EQ(alpha.isApplication(), row.application);
    EXPECT_EQ(alpha.isFrontMost(), row.application);
    alpha.bringToFront();
    expectNobody(-1);
    expectNobody(0);
  }

  // A server that does not answer delays only the first question, and not for long.
  kill(desktop.server->pid(), SIGSTOP);
  const auto start = steady_clock::now();
  EXPECT_FALSE(alpha.isApplication());
  EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(4900));
  for (int i = 0; i < 20; ++i) EXPECT_FALSE(alpha.isFrontMost());
  EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(9)) << "less than a second limit";
  kill(desktop.server->pid(), SIGCONT);
  EXPECT_TRUE(waitUntil([&] { return alpha.isApplication(); }));

  // One that is gone counts as none, and the next one is found.
  for (const char* display : {":nonsense", static_cast<const char*>(nullptr), desktop.display.c_str()}) {
    home.set("DISPLAY", display);
    EXPECT_EQ(alpha.isApplication(), display == desktop.display.c_str());
  }
  desktop.server.reset();
  EXPECT_FALSE(alpha.isApplication() || alpha.isFrontMost());
  alpha.bringToFront();
  desktop.start();
  const auto next = desktop.show("b", 1, "Beta");
  EXPECT_TRUE(PID(next->pid()).isApplication());
}

// Processes that the session has started as applications, seen without a display.
struct StartedTest : testing::Test {
  std::string entry(const std::string& name, const std::string& more = {}) const {
    return home.write(name, "[Desktop Entry]\nType=Application\nName=N\nExec=true\n" + more + "\n");
  }
  std::string installed(const std::string& identifier, const std::string& more = {}) const {
    return entry(".local/share/applications/" + identifier + ".desktop", more);
  }

  // A process whose environment says that it was started from an entry, and which has a child that inherits that.
  std::unique_ptr<Child> start(const std::string& file, const std::string& pid = "$$") const {
    const std::string ready = home / "ready";
    auto child = std::make_unique<Child>(
        Names{"/usr/bin/env", "GIO_LAUNCHED_DESKTOP_FILE_PID_=1", "GIO_LAUNCHED_DESKTOP_FILE=" + file, "/bin/sh", "-c",
              "export GIO_LAUNCHED_DESKTOP_FILE_PID=" + pid + "; exec /bin/sh -c 'sleep 1000 & echo $! >" + ready +
                  "_; mv " + ready + "_ " + ready + "; wait; exec sleep 1000'"});
    EXPECT_TRUE(waitUntil([&] { return fs::exists(ready); }));
    std::ifstream(ready) >> grandchild;
    fs::remove(ready);
    return child;
  }
  ~StartedTest() override {
    if (grandchild > 0) kill(grandchild, SIGKILL);
  }

  TempHome home;
  mutable pid_t grandchild = 0;
};

TEST_F(StartedTest, TheEnvironmentShowsIt) {
  ASSERT_EQ(mkfifo((home / "pipe.desktop").c_str(), 0600), 0);
  const struct {
    std::string file;
    std::string pid;
    bool application;
  } rows[] = {
      {home / "pipe.desktop", "$$", false},  // first: nothing else would be answered while it waits for a writer
      {installed("org.example.One"), "$$", true},
      {entry("elsewhere/with blank.desktop"), "$$", true},
      {installed("org.example.One"), "1", false},
      {installed("helper", "NoDisplay=true"), "$$", false},
      {installed("hidden", "Hidden=true"), "$$", false},
      {entry("no-entry.txt"), "$$", false},
      {home.write("damaged.desktop", "\xFF[x"), "$$", false},
      {home / "missing.desktop", "$$", false},
      {"relative.desktop", "$$", false},
  };
  for (const auto& row : rows) {
    const auto child = start(row.file, row.pid);
    const PID pid(child->pid());
    EXPECT_EQ(pid.isApplication(), row.application) << row.file;
    EXPECT_EQ(pid.bundlePath(), row.application ? row.file : "") << row.file;
    EXPECT_FALSE(pid.isFrontMost());
    EXPECT_FALSE(PID(grandchild).isApplication()) << "has it from its parent";
    kill(grandchild, SIGKILL);
  }
}

TEST_F(StartedTest, TheUnitShowsIt) {
  // Another cgroup file replaces the process's own, for this test process alone.
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    GTEST_SKIP() << "may not make a mount namespace";
  const std::string file = installed("org.example.My-App");
  const auto child = start("");
  const PID leader(child->pid()), member(grandchild);
  const auto put = [&](pid_t pid, const std::string& text) {
    const std::string path = "/proc/" + std::to_string(pid) + "/cgroup";
    EXPECT_EQ(mount(home.write("cgroup" + std::to_string(pid), text).c_str(), path.c_str(), nullptr, MS_BIND, nullptr),
              0);
  };
  const std::string unit = "0::/user.slice/app.slice/app-gnome-org.example.My\\x2dApp-77.scope";
  EXPECT_FALSE(leader.isApplication());
  put(child->pid(), unit + "\n");
  put(grandchild, unit + "/inner\n");
  EXPECT_TRUE(leader.isApplication());
  EXPECT_EQ(leader.bundlePath(), file);
  EXPECT_FALSE(member.isApplication());
  put(grandchild, "0::/user.slice/app.slice/app-org.example.My\\x2dApp@8.service\n");
  EXPECT_EQ(member.bundlePath(), file) << "leads a unit of its own";
  kill(child->pid(), SIGKILL);
  EXPECT_TRUE(waitUntil([&] { return !leader.isApplication(); })) << "a zombie";
}

TEST_F(StartedTest, AnApplicationOnTheBusIsAskedItself) {
  const PrivateBus bus;
  s_log.clear();
  setLogSink(&SINK);
  const auto deaf = start(installed("org.example.Deaf"));
  kill(grandchild, SIGKILL);
  const auto child = start(installed("org.example.My-App", "DBusActivatable=true"));
  PID(child->pid()).bringToFront();
  PID(deaf->pid()).bringToFront();
  ASSERT_EQ(s_log.size(), 2U) << testing::PrintToString(s_log);
  EXPECT_TRUE(s_log[0].starts_with("PID.bringToFront: org.example.My-App does not come to the front: ")) << s_log[0];
  EXPECT_EQ(s_log[1], "PID.bringToFront: Process " + std::to_string(deaf->pid()) +
                          " has no window that can be brought to the front");
  BusService application("org.example.My-App");
  PID(child->pid()).bringToFront();
  EXPECT_EQ(application.calls(), Names{"/org/example/My_App org.freedesktop.Application.Activate(@a{sv} {},)"});
  EXPECT_EQ(s_log.size(), 2U);
  setLogSink(nullptr);
}

}  // namespace
}  // namespace corvane
