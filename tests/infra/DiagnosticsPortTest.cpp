#include "corvane/platform/DiagnosticsPort.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstring>
#include <list>
#include <thread>

#include "corvane/core/Files.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/Platform.h"
#include "tests/support/Child.h"
#include "tests/support/Conditions.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string NOT_UTF8 = "n\xffm\xc3\xa9";
const std::string REPAIRED = "n\xef\xbf\xbdm\xc3\xa9";
const std::string NOT_TEXT = std::string("a\0\xff\n", 4);

// A program that shows what is put into it.
struct ShownProgram : Inspectable {
  ProgramIdentity shownIdentity;
  std::vector<RepeaterState> shownRepeaters;
  QueueStates shownQueues;
  std::vector<ListenerState> shownListeners;
  LogState shownLog;
  std::vector<SettingState> shownSettings;
  Recording shownRecording;
  std::atomic<int> watches = 0;
  std::atomic<int> calls = 0;
  std::vector<double> arguments;

  Result<ProgramIdentity> identity() override { return ++calls, shownIdentity; }
  Result<std::vector<RepeaterState>> repeaters() override { return shownRepeaters; }
  Result<QueueStates> queues() override { return shownQueues; }
  Result<std::vector<ListenerState>> listeners() override { return shownListeners; }
  Result<LogState> log(const LogPlace& after, std::size_t limit) override {
    arguments = {double(after.file), double(after.offset), double(limit)};
    return shownLog;
  }
  Result<std::vector<SettingState>> settings() override { return shownSettings; }
  Result<std::shared_ptr<void>> watch() override {
    ++watches;
    return std::shared_ptr<void>(this, [](ShownProgram* self) { --self->watches; });
  }
  Result<Recording> recording(double seconds) override {
    arguments = {seconds};
    return shownRecording;
  }
  Result<LongSpans> longSpans(std::uint64_t since, std::int64_t nsec) override {
    return LongSpans{shownRecording.spans, since + 1, static_cast<std::uint64_t>(nsec)};
  }
  Result<void> resetStats() override { return failure("posix", EPERM, "not \xff allowed"); }
  Result<void> setTimeConstant(double) override { return failure("other", 3, ""); }
  Result<void> setPaused(std::uint64_t id, bool paused) override {
    arguments = {double(id), double(paused)};
    return {};
  }
};

struct DiagnosticsPortTest : testing::Test {
  std::string socketOf(pid_t pid) const { return home / "run/corvane/" + std::to_string(pid); }

  TempHome home;
  DiagnosticsPort& port = platform().diagnosticsPort();
  std::shared_ptr<ShownProgram> shown = std::make_shared<ShownProgram>();
};

template <class T>
std::string errorOf(const Result<T>& result) {
  return result ? "none" : result.error().domain + " " + std::to_string(result.error().code);
}

TEST_F(DiagnosticsPortTest, EverythingThatAProgramShowsArrives) {
  const auto handle = port.open(shown).value();
  EXPECT_EQ(errorOf(port.open(shown)), "posix " + std::to_string(EADDRINUSE));
  const auto program = port.connect(getpid()).value();
  const auto expectSame = [&] {
    EXPECT_TRUE(program->identity() == shown->shownIdentity);
    EXPECT_TRUE(program->repeaters() == shown->shownRepeaters);
    EXPECT_TRUE(program->queues() == shown->shownQueues);
    EXPECT_TRUE(program->listeners() == shown->shownListeners);
    EXPECT_TRUE(program->log({5, 6}, 7) == shown->shownLog);
    EXPECT_THAT(shown->arguments, ElementsAre(5, 6, 7));
    EXPECT_TRUE(program->recording(0.5) == shown->shownRecording);
    EXPECT_THAT(shown->arguments, ElementsAre(0.5));
  };
  expectSame();
  shown->shownIdentity = {"id", "név", "", "1.2", "/x", getpid(), INT64_MIN, true, false};
  const AverageState odd = {INFINITY, -INFINITY, 5e-324, 1e308};
  for (std::uint64_t i = 0; i < 10'000; ++i)
    shown->shownRepeaters.push_back({.id = UINT64_MAX - i,  // a greater one first: names must not be mixed up
                                     .name = "repeater " + std::to_string(i),
                                     .interval = 0.25,
                                     .timeConstant = 3,
                                     .count = INT64_MAX,
                                     .totalElapsed = 1e300,
                                     .elapsed = odd,
                                     .period = {1, 2, 3, 4},
                                     .runningSince = -1,
                                     .isPaused = i % 2 == 0});
  shown->shownQueues = {
      {"main", SIZE_MAX, "type", 1, 2}, {"wait", 2, 3}, {"item", 4, 5}, {{"q", 6, "", 7, 8}, {}}, {{"t", 8, 9, 10}},
  };
  shown->shownListeners = {{"key", "Class", 1, 2}, {}};
  shown->shownLog = {"/log", 0, 1, 2, NOT_TEXT, {UINT64_MAX, 4}};
  using Kind = ActivitySpan::Kind;
  shown->shownRecording = {{{Kind::TIMER, UINT32_MAX, 1, 2, 3, "same", ""}, {Kind::REPEATER, 1, 4, 5, 6, "", "same"}},
                           9};
  expectSame();
  shown->shownRepeaters.front().id = 3;
  shown->shownRepeaters.front().name = "older, but started later";
  expectSame();
  EXPECT_TRUE(program->longSpans(8, 5) == (LongSpans{shown->shownRecording.spans, 9, 5}));
  shown->shownRepeaters.front().interval = NAN;
  EXPECT_TRUE(std::isnan(program->repeaters()->front().interval));
  EXPECT_TRUE(program->setPaused(4, true));
  EXPECT_THAT(shown->arguments, ElementsAre(4, 1));
  EXPECT_EQ(errorOf(program->resetStats()), "posix " + std::to_string(EPERM));
  EXPECT_THAT(program->resetStats().error().description, "not \xef\xbf\xbd allowed");
  EXPECT_EQ(errorOf(program->setTimeConstant(1)), "org.corvane.Diagnostics1.Error.Failed 0");
  shown->shownIdentity.name = NOT_UTF8;
  shown->shownIdentity.identifier = NOT_TEXT;
  EXPECT_EQ(program->identity()->name, REPAIRED);
  EXPECT_EQ(program->identity()->identifier, "a\xef\xbf\xbd\n");
}

TEST_F(DiagnosticsPortTest, SettingsArriveWithTheValuesThatAreShown) {
  Value deep = 1;
  for (int i = 0; i < 30; ++i) deep = Value::Array{deep};
  const Value all = Value::Dictionary{
      {"", Value::Array{1, 1.5, true, "text", Value::Dictionary{}}}, {"data", Data{{0, 255}}}, {"date", Date{-0.5}}};
  shown->shownSettings = {{"a", all}, {"b", std::nullopt}, {"c", deep}, {"d", NOT_UTF8}, {"e", 7}};
  const auto handle = port.open(shown).value();
  const auto settings = port.connect(getpid()).value()->settings().value();
  ASSERT_EQ(settings.size(), 5U);
  EXPECT_EQ(settings[0].value, all);
  EXPECT_EQ(settings[1].value, std::nullopt);
  EXPECT_EQ(settings[2].value, std::nullopt) << "has too many levels for D-Bus";
  EXPECT_EQ(settings[3].value, Value(REPAIRED));
  EXPECT_EQ(settings[4].key, "e");
}

// A connection without the library's client.
class RawViewer {
 public:
  explicit RawViewer(const std::string& path) : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = addressOf(path);
    if (connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error(path + ": " + std::strerror(errno));
  }

  static sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
  }

  bool send(const std::string& bytes) {
    const WithoutSigpipe scope;
    return writeAll(m_socket.get(), bytes);
  }

  // Everything until the other side closes the connection.
  std::string received() {
    std::string all;
    for (std::array<char, 4096> part; const ssize_t count = read(m_socket.get(), part.data(), part.size());) {
      if (count < 0) break;
      all.append(part.data(), static_cast<std::size_t>(count));
    }
    return all;
  }

  int get() const { return m_socket.get(); }

 private:
  const FileDescriptor m_socket;
};

using namespace std::string_literals;
const std::string AUTHENTICATION = "\0AUTH EXTERNAL\r\nDATA\r\nBEGIN\r\n"s;

std::string callOf(const char* method, GVariant* arguments) {
  const glib::Ptr<GDBusMessage> call(
      g_dbus_message_new_method_call(nullptr, "/org/corvane/Diagnostics", "org.corvane.Diagnostics1", method));
  g_dbus_message_set_body(call.get(), arguments);
  g_dbus_message_set_serial(call.get(), 1);
  gsize size = 0;
  const glib::Ptr<gchar> blob(
      reinterpret_cast<gchar*>(g_dbus_message_to_blob(call.get(), &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr)));
  return {blob.get(), size};
}

TEST_F(DiagnosticsPortTest, ProgramsAreListedAndReachedUntilTheyEnd) {
  EXPECT_THAT(port.programs().value(), ElementsAre());
  std::shared_ptr<void> handle;
  const auto openHere = [&] { handle = port.open(shown).value(); };
  std::optional<Child> first(std::in_place, openHere);
  // Its child has no part in it.
  const Child second([&] {
    openHere();
    shown->shownIdentity.version = "second";
    if (fork() == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (;;) pause();
    }
  });
  openHere();
  std::vector<pid_t> both = {first->pid(), second.pid()};
  std::ranges::sort(both);
  EXPECT_EQ(port.programs().value(), both);
  EXPECT_EQ(port.connect(second.pid()).value()->identity()->version, "second");

  // Names that are not those of their processes, and what is no socket.
  home.write("run/corvane/999999", "");
  home.write("run/corvane/+7", "");
  fs::rename(socketOf(second.pid()), socketOf(1));
  EXPECT_THAT(port.programs().value(), ElementsAre(first->pid()));
  EXPECT_EQ(errorOf(port.connect(1)), "posix " + std::to_string(geteuid() == 0 ? ENOENT : EACCES));
  fs::rename(socketOf(1), socketOf(second.pid()));
  EXPECT_TRUE(fs::exists(home / "run/corvane/999999"));

  // A program that hangs.
  const auto watched = port.connect(first->pid()).value();
  kill(first->pid(), SIGSTOP);
  EXPECT_EQ(port.programs().value(), both);
  EXPECT_EQ(errorOf(watched->identity()), "posix " + std::to_string(ETIMEDOUT));
  kill(first->pid(), SIGCONT);
  EXPECT_TRUE(watched->repeaters()) << "the late answer to another call is skipped";

  // What a dead one has left is removed, whoever needs the place.
  const std::string left = socketOf(first->pid());
  first.reset();
  EXPECT_EQ(errorOf(watched->identity()), "posix " + std::to_string(ENOTCONN));
  EXPECT_EQ(errorOf(port.connect(fs::exists(left) ? std::stoi(fs::path(left).filename()) : 0)),
            "posix " + std::to_string(ENOENT));
  handle.reset();
  EXPECT_FALSE(fs::exists(socketOf(getpid())));
  fs::rename(left, socketOf(getpid()));
  openHere();
  EXPECT_TRUE(port.connect(getpid()));
  const Child third([&] { handle.reset(), openHere(); });
  kill(third.pid(), SIGKILL);
  EXPECT_TRUE(waitUntil([&] { return port.programs().value() == std::vector<pid_t>{second.pid()}; }));
  EXPECT_FALSE(fs::exists(socketOf(third.pid())));
  EXPECT_TRUE(port.connect(getpid()).value()->identity()) << "this process is not touched by what its child did";
}

TEST_F(DiagnosticsPortTest, AFolderThatOthersCouldUseIsRefused) {
  const std::string folder = home / "run/corvane";
  const struct {
    const char* command;
    int error;
  } rows[] = {
      {"mkdir -m 700 $F", 0},       {"mkdir -m 750 $F", EACCES},
      {"mkdir -m 1700 $F", EACCES}, {"mkdir -m 700 $F.real && ln -s $F.real $F", EACCES},
      {"touch $F", EACCES},         {"mkdir -m 700 $F && chown 65534 $F", geteuid() == 0 ? EACCES : 0},
  };
  for (const auto& [command, error] : rows) {
    fs::remove_all(folder);
    (void)!std::system(("F=" + folder + "; " + command).c_str());
    const std::string expected = error == 0 ? "none" : "posix " + std::to_string(error);
    EXPECT_EQ(errorOf(port.open(shown)), expected) << command;
    EXPECT_EQ(errorOf(port.programs()), expected) << command;
  }
  home.set("XDG_RUNTIME_DIR", nullptr);
  home.set("TMPDIR", home.path().c_str());
  const auto handle = port.open(shown).value();
  EXPECT_TRUE(port.connect(getpid()));
  struct stat status {};
  ASSERT_EQ(stat((home / "corvane-" + std::to_string(geteuid())).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

TEST_F(DiagnosticsPortTest, OtherUsersAreRefusedAndRootIsOne) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  const auto handle = port.open(shown).value();
  // So that only the program itself can refuse.
  for (const char* path : {"", "run", "run/corvane"}) chmod((home / path).c_str(), 0777);
  chmod(socketOf(getpid()).c_str(), 0777);
  const std::string mine = socketOf(getpid());
  const Child nobodys([&] {
    if (setuid(OrdinaryUser::NOBODY) != 0 || RawViewer(mine).received() != "") _exit(1);
    fs::create_directory(home / "nobody");
    setenv("XDG_RUNTIME_DIR", (home / "nobody").c_str(), 1);
    new auto(port.open(shown).value());
  });
  chmod((home / "run/corvane").c_str(), 0700);
  const std::string theirs = home / "nobody/corvane/" + std::to_string(nobodys.pid());
  EXPECT_EQ(RawViewer(theirs).received(), "");
  EXPECT_EQ(errorOf(port.connect(nobodys.pid())), "posix " + std::to_string(EACCES));
  fs::rename(theirs, socketOf(nobodys.pid()));
  EXPECT_EQ(errorOf(port.connect(nobodys.pid())), "posix " + std::to_string(EACCES)) << "whatever folder it is in";
  EXPECT_TRUE(port.connect(getpid()));
}

TEST_F(DiagnosticsPortTest, WhatIsNoDBusEndsTheConnection) {
  const auto handle = port.open(shown).value();
  std::string huge = callOf("Identity", nullptr);
  huge[4] = '\x01', huge[6] = '\x01';  // a body of 64 KiB and a byte
  std::string broken = callOf("Identity", nullptr);
  broken[0] = 'L';
  const struct {
    std::string bytes, answer;
  } rows[] = {
      {"GET / HTTP/1.1\r\n\r\n", ""},
      {"\0BEGIN\r\n"s, ""},
      {"\0AUTH\r\nAUTH EXTERNAL 3939\r\nBEGIN\r\n"s, "REJECTED EXTERNAL\r\nREJECTED EXTERNAL\r\n"},
      {std::string(1, '\0') + std::string(5000, 'x'), ""},
      {AUTHENTICATION + std::string(1000, 'x'), "DATA\r\nOK *"},
      {AUTHENTICATION + huge, "DATA\r\nOK *"},
      {AUTHENTICATION + broken, "DATA\r\nOK *"},
  };
  for (const auto& [bytes, answer] : rows) {
    RawViewer viewer(socketOf(getpid()));
    viewer.send(bytes);
    EXPECT_TRUE(g_pattern_match_simple(answer.c_str(), viewer.received().c_str())) << bytes;
  }
  EXPECT_TRUE(port.connect(getpid()));
}

TEST_F(DiagnosticsPortTest, OrdinaryToolsGetInAndErrorsForCallsThatDoNotFit) {
  const auto handle = port.open(shown).value();
  const std::string address = "unix:path=" + socketOf(getpid());
  const glib::Ptr<GDBusConnection> viewer(g_dbus_connection_new_for_address_sync(
      address.c_str(), G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT, nullptr, nullptr, nullptr));
  ASSERT_TRUE(viewer);
  const struct {
    const char *path, *interface, *method, *arguments, *answer;
  } rows[] = {
      {"/", "org.freedesktop.DBus.Introspectable", "Introspect", "()", "*node name='org'*"},
      {"/org/corvane/D", "org.freedesktop.DBus.Introspectable", "Introspect", "()", "('<node/>',)"},
      {"/org/corvane/Diagnostics", "org.freedesktop.DBus.Introspectable", "Introspect", "()", "*SetTimeConstant*"},
      {"/x", "org.freedesktop.DBus.Peer", "Ping", "()", "()"},
      {"/org/corvane/Diagnostics", "org.freedesktop.DBus.Properties", "GetAll", "('',)", "({'Version': <uint32 1>},)"},
      {"/org/corvane/Diagnostics", "org.freedesktop.DBus.Properties", "Get", "('', 'X')", "*UnknownProperty*"},
      {"/org/corvane/Diagnostics", "org.freedesktop.DBus.Properties", "Get", "(1,)", "*InvalidArgs*"},
      {"/org/corvane/Diagnostics", "org.freedesktop.DBus.Properties", "Set", "('', 'Version', <1>)", "*ReadOnly*"},
      {"/org/corvane/Diagnostics", "org.corvane.Diagnostics1", "SetPaused", "(uint64 3, true)", "()"},
      {"/org/corvane/Diagnostics", "org.corvane.Diagnostics1", "SetPaused", "(3, true)", "*InvalidArgs*"},
      {"/org/corvane/Diagnostics", "org.corvane.Diagnostics1", "Stop", "()", "*UnknownMethod*"},
      {"/org/corvane/Diagnostics", "org.corvane.Diagnostics2", "Stop", "()", "*UnknownInterface*"},
      {"/org/corvane", "org.corvane.Diagnostics1", "Identity", "()", "*UnknownObject*"},
  };
  for (const auto& [path, interface, method, arguments, expected] : rows) {
    GError* error = nullptr;
    const glib::Ptr<GVariant> answer(g_dbus_connection_call_sync(viewer.get(), nullptr, path, interface, method,
                                                                 g_variant_new_parsed(arguments), nullptr,
                                                                 G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
    const std::string text =
        answer ? glib::Ptr<gchar>(g_variant_print(answer.get(), TRUE)).get() : glib::takeError(error).value().domain;
    EXPECT_TRUE(g_pattern_match_simple(expected, text.c_str())) << method << arguments << ": " << text;
  }
}

double cpuSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

TEST_F(DiagnosticsPortTest, ViewersThatMisbehaveAreDroppedWhileOthersAreServed) {
  shown->shownRepeaters.resize(10'000);
  const auto handle = port.open(shown).value();
  const std::string path = socketOf(getpid());
  const auto good = port.connect(getpid()).value();
  const std::string watching = AUTHENTICATION + callOf("Watch", nullptr);
  const std::string call = callOf("Repeaters", g_variant_new("(t)", guint64{0}));
  const RawViewer silent(path);
  RawViewer(path).send(watching + call.substr(0, 50));  // and ends in the middle
  const Child stopped([&] {
    RawViewer& viewer = *new RawViewer(path);
    viewer.send(watching);
    for (int i = 0; i < 100; ++i) viewer.send(call);
  });
  kill(stopped.pid(), SIGSTOP);
  {
    const Child flooding([&] {
      RawViewer& viewer = *new RawViewer(path);
      viewer.send(watching);
      std::thread([&] { viewer.received(); }).detach();
      std::thread([&] {
        while (viewer.send(call)) {
        }
      }).detach();
    });
    EXPECT_TRUE(waitUntil([&] { return shown->watches == 2; })) << shown->watches;
    const double before = cpuSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_LT(cpuSeconds() - before, 1) << "the program rests";
    EXPECT_TRUE(good->identity());
  }
  EXPECT_TRUE(waitUntil([&] { return shown->watches == 0; })) << "both were dropped";
  char byte = 0;
  EXPECT_EQ(recv(silent.get(), &byte, 1, 0), 0);
  EXPECT_TRUE(good->identity());

  std::list<RawViewer> crowd;
  for (int i = 0; i < 100; ++i) crowd.emplace_back(path);
  EXPECT_EQ(crowd.back().received(), "ERROR Too many viewers\r\n");
  EXPECT_EQ(errorOf(port.connect(getpid())), "posix " + std::to_string(EUSERS));
  EXPECT_TRUE(good->identity());
  crowd.clear();
  EXPECT_TRUE(waitUntil([&] { return port.connect(getpid()).has_value(); }));
}

// Answers every call of a viewer with the same arguments.
void answerWith(int socket, const char* arguments, const char* version) {
  const glib::Ptr<GSocket> owned(g_socket_new_from_fd(socket, nullptr));
  const glib::Ptr<GSocketConnection> stream(g_socket_connection_factory_create_connection(owned.get()));
  const glib::Ptr<gchar> guid(g_dbus_generate_guid());
  const glib::Ptr<GDBusConnection> viewer(
      g_dbus_connection_new_sync(G_IO_STREAM(stream.get()), guid.get(),
                                 GDBusConnectionFlags(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_SERVER |
                                                      G_DBUS_CONNECTION_FLAGS_DELAY_MESSAGE_PROCESSING),
                                 nullptr, nullptr, nullptr));
  const GDBusMessageFilterFunction answer = [](GDBusConnection* connection, GDBusMessage* call, gboolean isIncoming,
                                               gpointer texts) -> GDBusMessage* {
    if (!isIncoming) return call;
    const glib::Ptr<GDBusMessage> owner(call);
    const auto& [usual, first] = *static_cast<std::pair<const char*, const char*>*>(texts);
    const bool isFirst = std::string_view(g_dbus_message_get_member(call)) == "Get";
    const glib::Ptr<GDBusMessage> reply(g_dbus_message_new_method_reply(call));
    g_dbus_message_set_body(reply.get(), g_variant_new_parsed(isFirst ? first : usual));
    g_dbus_connection_send_message(connection, reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    return nullptr;
  };
  std::pair<const char*, const char*> texts = {arguments, version};
  g_dbus_connection_add_filter(viewer.get(), answer, &texts, nullptr);
  g_dbus_connection_start_message_processing(viewer.get());
  while (!g_dbus_connection_is_closed(viewer.get())) g_usleep(1000);
}

TEST_F(DiagnosticsPortTest, NonsenseFromAProgramIsAnError) {
  fs::create_directory(home / "run/corvane");
  fs::permissions(home / "run/corvane", fs::perms::owner_all);
  const FileDescriptor listening(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_un address = RawViewer::addressOf(socketOf(getpid()));
  ASSERT_EQ(bind(listening.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listening.get(), 1), 0);
  using Ask = std::string (*)(Inspectable&);
  const Ask repeaters = [](Inspectable& program) { return errorOf(program.repeaters()); };
  const Ask recording = [](Inspectable& program) { return errorOf(program.recording(1)); };
  const Ask log = [](Inspectable& program) { return errorOf(program.log({}, 1)); };
  const Ask settings = [](Inspectable& program) { return errorOf(program.settings()); };
  const std::string protocol = "posix " + std::to_string(EPROTO);
  const struct {
    Ask ask;
    const char* answer;
    std::string error;
    const char* version = "(<uint32 1>,)";
  } rows[] = {
      {repeaters, "([uint64 1],[int64 2],[int64 3],[byte 0],[0.,1.,2.,3.,4.,5.,6.,7.,8.,9.,10.],['name'])", "none"},
      {repeaters, "([uint64 1],[int64 2],[int64 3],[byte 0],[0.,1.,2.,3.,4.,5.,6.,7.,8.,9.,10.],@as [])", protocol},
      {repeaters, "([uint64 0],[int64 2],[int64 3],[byte 0],[0.,1.,2.,3.,4.,5.,6.,7.,8.,9.,10.],@as [])", protocol},
      {repeaters, "([uint64 0],[int64 2],[int64 3],[byte 0],[0.,1.,2.,3.,4.,5.,6.,7.,8.,9.,10.],['name'])", protocol},
      {repeaters, "([uint64 1],[int64 2],[int64 3],[byte 0],[0.],['name'])", protocol},
      {repeaters, "([uint64 1],@ax [],[int64 3],[byte 0],[0.,1.,2.,3.,4.,5.,6.,7.,8.,9.,10.],['name'])", protocol},
      {repeaters, "('text',)", protocol},
      {recording, "((['a'],[byte 4],[uint32 1],[int64 1],[int64 1],[int64 1],[uint32 0],[uint32 0]),uint64 1)", "none"},
      {recording, "((['a'],[byte 5],[uint32 1],[int64 1],[int64 1],[int64 1],[uint32 0],[uint32 0]),uint64 1)",
       protocol},
      {recording, "((['a'],[byte 4],[uint32 1],[int64 1],[int64 1],[int64 1],[uint32 1],[uint32 0]),uint64 1)",
       protocol},
      {recording, "((['a'],[byte 4],[uint32 1],[int64 1],[int64 1],[int64 1],[uint32 0],[uint32 1]),uint64 1)",
       protocol},
      {recording, "((['a'],[byte 4],[uint32 1],[int64 1],@ax [],[int64 1],[uint32 0],[uint32 0]),uint64 1)", protocol},
      {log, "('',[uint64 1],int64 1,int64 1,@ay [],(uint64 1,uint64 1))", "none"},
      {log, "('',[uint64 1,2],int64 1,int64 1,@ay [],(uint64 1,uint64 1))", protocol},
      {settings, "([('k',[<'v'>])],)", "none"},
      {settings, "([('k',[<objectpath '/'>,<1>])],)", protocol},
      {settings, "([('k',[<[(1,2)]>])],)", protocol},
      {settings, "()", protocol, "(<uint32 2>,)"},
  };
  for (const auto& row : rows) {
    std::thread server([&] { answerWith(accept(listening.get(), nullptr, nullptr), row.answer, row.version); });
    auto program = port.connect(getpid());
    EXPECT_EQ(program ? row.ask(**program) : errorOf(program), row.error) << row.answer;
    program = nullptr;  // ends the connection
    server.join();
  }
  for (const std::string& bytes :
       {"x"s, "OK 1234\r\n"s + std::string(16, 'x'), "OK 1\r\nl\2\1\1\0\0\0\7\1\0\0\0\0\0\0\0"s}) {
    std::thread server([&] {
      const FileDescriptor viewer(accept(listening.get(), nullptr, nullptr));
      (void)!writeAll(viewer.get(), bytes);
      usleep(100'000);
    });
    EXPECT_FALSE(port.connect(getpid())) << bytes;
    server.join();
  }
}

}  // namespace
}  // namespace corvane
