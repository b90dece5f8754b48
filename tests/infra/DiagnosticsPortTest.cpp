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
#include <set>
#include <thread>

#include "corvane/core/Files.h"
#include "corvane/core/Text.h"
#include "corvane/linux/bus/DiagnosticsCodec.h"
#include "corvane/platform/Platform.h"
#include "corvane/testing/FakeDiagnosticsPort.h"
#include "tests/support/Child.h"
#include "tests/support/Conditions.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

const std::string NOT_UTF8 = "n\xffm\xc3\xa9";
const std::string REPAIRED = "n\xef\xbf\xbdm\xc3\xa9";
const std::string NOT_TEXT = std::string("a\0\xff\n", 4);

// Its answers tell what was asked.
struct ShownProgram : FakeProgram {
  Result<LogState> log(const LogPlace& after, std::size_t limit) override {
    LogState log = *itsLog;
    log.place = after;
    log.size = limit;
    return log;
  }
  Result<Recording> recording(double seconds) override {
    return Recording{itsRecording->spans, static_cast<std::uint64_t>(seconds * 10)};
  }
  Result<LongSpans> longSpans(std::uint64_t since, std::int64_t nsec) override {
    return LongSpans{itsRecording->spans, since, static_cast<std::uint64_t>(nsec)};
  }
};

struct DiagnosticsPortTest : testing::Test {
  std::string socketOf(pid_t pid) const { return home / "run/corvane/" + std::to_string(pid); }

  TempHome home;
  DiagnosticsPort& port = platform().diagnosticsPort();
  std::shared_ptr<ShownProgram> shown = std::make_shared<ShownProgram>();
};

std::string posix(int code) {
  return "posix " + std::to_string(code);
}

template <class T>
std::string errorOf(const Result<T>& result) {
  return result ? "none" : result.error().domain + " " + std::to_string(result.error().code);
}

TEST_F(DiagnosticsPortTest, EverythingThatAProgramShowsArrives) {
  const auto handle = port.open(shown).value();
  EXPECT_EQ(errorOf(port.open(shown)), posix(EADDRINUSE));
  const auto program = port.connect(getpid()).value();
  const auto expectSame = [&] {
    EXPECT_TRUE(program->identity() == *shown->itsIdentity);
    EXPECT_TRUE(program->repeaters() == *shown->itsRepeaters);
    EXPECT_TRUE(program->queues() == *shown->itsQueues);
    EXPECT_TRUE(program->listeners() == *shown->itsListeners);
    EXPECT_TRUE(program->log({5, 6}, 7) == *shown->log({5, 6}, 7));
    EXPECT_TRUE(program->log({}, SIZE_MAX)->size == 1U << 20U);
    EXPECT_TRUE(program->recording(0.5) == *shown->recording(0.5));
    EXPECT_TRUE(program->longSpans(8, 5) == *shown->longSpans(8, 5));
  };
  expectSame();
  shown->itsIdentity = ProgramIdentity{"id", "név", "", "1.2", "/x", getpid(), INT64_MAX, true, false};
  const AverageState odd = {INFINITY, -INFINITY, 5e-324, 1e308};
  RepeaterState repeater = {UINT64_MAX, "", 0.25, 3, INT64_MAX, 1e300, odd, {1, 2, 3, 4}, INT64_MAX, true};
  for (; shown->itsRepeaters->size() < 10'000; --repeater.id, repeater.isPaused = !repeater.isPaused) {
    repeater.name = "repeater " + std::to_string(repeater.id);
    shown->itsRepeaters->push_back(repeater);
  }
  shown->itsQueues = QueueStates{
      {"main", SIZE_MAX, "type", 1, 2}, {"wait", 2, 3}, {"item", 4, 5}, {{"q", 6, "", 7, 8}, {}}, {{"t", 8, 9, 10}}};
  shown->itsListeners = {{"key", "Class", 1, 2}, {}};
  shown->itsLog = LogState{"/log", {}, 1, 2, NOT_TEXT, {}};
  shown->itsRecording->spans = {{ActivitySpan::Kind::TIMER, UINT32_MAX, 1, 2, 3, "same", ""},
                                {ActivitySpan::Kind::REPEATER, 1, 4, 5, 6, "", "same"}};
  expectSame();
  shown->itsRepeaters->back().id = 3;
  shown->itsRepeaters->back().name = "older, but started later";
  expectSame();
  shown->itsRepeaters->front().interval = NAN;
  EXPECT_TRUE(std::isnan(program->repeaters()->front().interval));
  EXPECT_TRUE(program->setPaused(4, true));
  shown->control = failure("posix", EPERM, "not \xff allowed");
  EXPECT_EQ(errorOf(program->resetStats()), posix(EPERM));
  EXPECT_EQ(program->resetStats().error().description, "not \xef\xbf\xbd allowed");
  shown->control = failure("other", 3, "");
  EXPECT_EQ(errorOf(program->setTimeConstant(1.5)), "org.corvane.Diagnostics1.Error.Failed 0");
  EXPECT_THAT(shown->calls, ElementsAre("setPaused 4 true", "resetStats", "resetStats", "setTimeConstant 1.50"));
  shown->itsIdentity->name = NOT_UTF8;
  shown->itsIdentity->version = NOT_TEXT;
  EXPECT_EQ(program->identity()->name, REPAIRED);
  EXPECT_EQ(program->identity()->version, "a\xef\xbf\xbd\n");
}

TEST_F(DiagnosticsPortTest, SettingsArriveWithTheValuesThatAreShown) {
  Value deep = 1;
  for (int i = 0; i < 30; ++i) deep = Value::Array{deep};
  const Value all = Value::Dictionary{
      {"", Value::Array{1, 1.5, true, "text", Value::Dictionary{}}}, {"data", Data{{0, 255}}}, {"date", Date{-0.5}}};
  shown->itsSettings = {{"a", all}, {"b", std::nullopt}, {"c", deep}, {"d", NOT_UTF8}, {"e", 7}};
  const auto handle = port.open(shown).value();
  const auto settings = port.connect(getpid()).value()->settings().value();
  ASSERT_EQ(settings.size(), 5U);
  EXPECT_EQ(settings[0].value, all);
  EXPECT_EQ(settings[1].value, std::nullopt);
  EXPECT_EQ(settings[2].value, std::nullopt) << "has too many levels for D-Bus";
  EXPECT_EQ(settings[3].value, Value(REPAIRED));
  EXPECT_EQ(settings[4].key, "e");
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

// A connection without the library's client.
struct RawViewer {
  explicit RawViewer(const std::string& path, const std::string& bytes = {}) {
    const sockaddr_un address = addressOf(path);
    if (connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error(path + ": " + std::strerror(errno));
    send(bytes);
  }

  bool send(const std::string& bytes) const {
    const WithoutSigpipe scope;
    return writeAll(fd.get(), bytes);
  }

  // Everything until the other side closes the connection.
  std::string received() const {
    std::string all;
    std::array<char, 65536> part;
    for (ssize_t count = 0; (count = read(fd.get(), part.data(), part.size())) > 0;)
      all.append(part.data(), static_cast<std::size_t>(count));
    return all;
  }

  const FileDescriptor fd{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

using namespace std::string_literals;
const std::string AUTHENTICATION = "\0AUTH EXTERNAL\r\nDATA\r\nBEGIN\r\n"s;

std::string bytesOf(GDBusMessage* message) {
  g_dbus_message_set_serial(message, 1);
  gsize size = 0;
  const glib::Ptr<gchar> blob(
      reinterpret_cast<gchar*>(g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr)));
  return {blob.get(), size};
}

std::string callOf(const char* method, GVariant* arguments) {
  const glib::Ptr<GDBusMessage> call(
      g_dbus_message_new_method_call(nullptr, "/org/corvane/Diagnostics", "org.corvane.Diagnostics1", method));
  g_dbus_message_set_body(call.get(), arguments);
  return bytesOf(call.get());
}

TEST_F(DiagnosticsPortTest, ProgramsAreListedAndReachedUntilTheyEnd) {
  EXPECT_THAT(port.programs().value(), ElementsAre());
  std::shared_ptr<void> handle;
  const auto openHere = [&] { handle = port.open(shown).value(); };
  std::array<int, 2> testLives{};
  ASSERT_EQ(pipe(testLives.data()), 0);
  std::optional<Child> first(std::in_place, [&] {
    openHere();
    if (fork() != 0) return;  // its child lives longer
    close(testLives[1]);
    (void)!read(testLives[0], testLives.data(), 1);
    _exit(0);
  });
  shown->itsIdentity->version = "second";
  const Child second(openHere);
  openHere();
  const std::set<pid_t> both = {first->pid(), second.pid()};
  EXPECT_THAT(port.programs().value(), ElementsAreArray(both));
  EXPECT_EQ(port.connect(second.pid()).value()->identity()->version, "second");

  // Names that are not those of their processes, and what is no socket.
  home.write("run/corvane/999999", "");
  fs::rename(socketOf(second.pid()), socketOf(1));
  EXPECT_THAT(port.programs().value(), ElementsAre(first->pid()));
  EXPECT_EQ(errorOf(port.connect(1)), posix(geteuid() == 0 ? ENOENT : EACCES));
  fs::rename(socketOf(1), socketOf(second.pid()));
  EXPECT_TRUE(fs::exists(home / "run/corvane/999999"));

  // A program that hangs.
  const auto watched = port.connect(first->pid()).value();
  kill(first->pid(), SIGSTOP);
  waitpid(first->pid(), nullptr, WUNTRACED);
  EXPECT_THAT(port.programs().value(), ElementsAreArray(both));
  EXPECT_EQ(errorOf(watched->identity()), posix(ETIMEDOUT));
  kill(first->pid(), SIGCONT);
  EXPECT_TRUE(watched->repeaters()) << "the late answer to another call is skipped";

  // What a dead one has left is removed, whoever needs the place.
  const pid_t dead = first->pid();
  first.reset();
  EXPECT_EQ(errorOf(watched->identity()), posix(ENOTCONN));
  EXPECT_EQ(errorOf(port.connect(dead)), posix(ENOENT));
  handle.reset();
  EXPECT_FALSE(fs::exists(socketOf(getpid())));
  fs::create_hard_link(socketOf(dead), socketOf(getpid()));
  openHere();
  EXPECT_THAT(port.programs().value(), ElementsAre(second.pid()));
  EXPECT_FALSE(fs::exists(socketOf(dead)));

  // A forked child, which serves by itself.
  const auto own = port.connect(getpid()).value();
#if defined(__SANITIZE_THREAD__)  // it allows no threads after a fork
  const Child child([&] { handle.reset(); });
#else
  shown->itsIdentity->version = "child";
  const Child child([&] { handle.reset(), openHere(); });
  EXPECT_EQ(port.connect(child.pid()).value()->identity()->version, "child");
#endif
  EXPECT_TRUE(own->identity());
  handle.reset();
  EXPECT_EQ(errorOf(own->identity()), posix(ENOTCONN)) << "the child does not keep it open";
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
    const std::string expected = error == 0 ? "none" : posix(error);
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
  chmod(home.path().c_str(), 0777);
  const Child nobodys([&] {
    if (setuid(OrdinaryUser::NOBODY) != 0) _exit(1);
    fs::create_directory(home / "nobody");
    setenv("XDG_RUNTIME_DIR", (home / "nobody").c_str(), 1);
    new auto(port.open(shown).value());
  });
  const auto handle = port.open(shown).value();
  const std::string mine = socketOf(getpid());
  // So that only the program itself can refuse.
  for (const std::string& path : {home / "run", home / "run/corvane", mine}) chmod(path.c_str(), 0777);
  const Child nobody([&] {
    if (setuid(OrdinaryUser::NOBODY) != 0 || RawViewer(mine, AUTHENTICATION).received() != "") _exit(1);
  });
  chmod((home / "run/corvane").c_str(), 0700);
  const std::string theirs = home / "nobody/corvane/" + std::to_string(nobodys.pid());
  EXPECT_EQ(RawViewer(theirs, AUTHENTICATION).received(), "");
  EXPECT_EQ(errorOf(port.connect(nobodys.pid())), posix(EACCES));
  fs::rename(theirs, socketOf(nobodys.pid()));
  EXPECT_EQ(errorOf(port.connect(nobodys.pid())), posix(EACCES)) << "whatever folder it is in";
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
    const std::string received = RawViewer(socketOf(getpid()), bytes).received();
    EXPECT_TRUE(g_pattern_match_simple(answer.c_str(), received.c_str())) << bytes;
  }
  EXPECT_TRUE(port.connect(getpid()));
}

TEST_F(DiagnosticsPortTest, OrdinaryToolsGetInAndErrorsForCallsThatDoNotFit) {
  const auto handle = port.open(shown).value();
  const std::string address = "unix:path=" + socketOf(getpid());
  const glib::Ptr<GDBusConnection> viewer(g_dbus_connection_new_for_address_sync(
      address.c_str(), G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT, nullptr, nullptr, nullptr));
  ASSERT_TRUE(viewer);
  const std::string object = "/org/corvane/Diagnostics";
  const std::string own = "org.corvane.Diagnostics1";
  const std::string properties = "org.freedesktop.DBus.Properties";
  const struct {
    std::string path, interface, method, arguments, answer;
  } rows[] = {
      {"/", "org.freedesktop.DBus.Introspectable", "Introspect", "()", "*node name='org'*"},
      {"/org/corvane/D", "org.freedesktop.DBus.Introspectable", "Introspect", "()", "('<node/>',)"},
      {object, "org.freedesktop.DBus.Introspectable", "Introspect", "()", "*SetTimeConstant*"},
      {"/x", "org.freedesktop.DBus.Peer", "Ping", "()", "()"},
      {object, properties, "GetAll", "('',)", "({'Version': <uint32 1>},)"},
      {object, properties, "Get", "('', 'X')", "*UnknownProperty*"},
      {object, properties, "Get", "(1,)", "*InvalidArgs*"},
      {object, properties, "Set", "('', 'Version', <1>)", "*ReadOnly*"},
      {object, own, "SetPaused", "(uint64 3, true)", "()"},
      {object, own, "SetPaused", "(3, true)", "*InvalidArgs*"},
      {object, own, "Stop", "()", "*UnknownMethod*"},
      {object, own + "x", "Identity", "()", "*UnknownInterface*"},
      {"/org/corvane", own, "Identity", "()", "*UnknownObject*"},
  };
  for (const auto& row : rows) {
    GError* error = nullptr;
    const glib::Ptr<GVariant> answer(g_dbus_connection_call_sync(
        viewer.get(), nullptr, row.path.c_str(), row.interface.c_str(), row.method.c_str(),
        g_variant_new_parsed(row.arguments.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
    const std::string text =
        answer ? glib::Ptr<gchar>(g_variant_print(answer.get(), TRUE)).get() : glib::takeError(error).value().domain;
    EXPECT_TRUE(g_pattern_match_simple(row.answer.c_str(), text.c_str())) << row.method << row.arguments << text;
  }
}

double cpuSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

TEST_F(DiagnosticsPortTest, ViewersThatMisbehaveAreDroppedWhileOthersAreServed) {
  shown->itsRepeaters->resize(10'000);
  const auto handle = port.open(shown).value();
  const std::string path = socketOf(getpid());
  const auto good = port.connect(getpid()).value();
  const std::string watching = AUTHENTICATION + callOf("Watch", nullptr);
  const std::string call = callOf("Repeaters", g_variant_new("(t)", guint64{0}));
  const RawViewer silent(path);
  RawViewer(path, watching + call.substr(0, 50));  // ends in the middle
  const Child stopped([&] {
    RawViewer& viewer = *new RawViewer(path, watching);
    for (int i = 0; i < 100; ++i) viewer.send(call);
  });
  kill(stopped.pid(), SIGSTOP);
  {
    const Child flooding([&] {
      const RawViewer viewer(path, watching);
      for (const bool reads : {true, false}) {
        if (fork() != 0) continue;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        while (reads ? !viewer.received().empty() : viewer.send(call)) {
        }
      }
    });
    EXPECT_TRUE(waitUntil([&] { return shown->watches == 2; })) << shown->watches;
    const double before = cpuSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_LT(cpuSeconds() - before, 0.6) << "the program rests four fifths of the time";
    EXPECT_TRUE(good->identity());
  }
  EXPECT_TRUE(waitUntil([&] { return shown->watches == 0; })) << "both were dropped";
  EXPECT_EQ(silent.received(), "");
  EXPECT_TRUE(good->identity());

  std::list<RawViewer> crowd;
  for (int i = 0; i < 100; ++i) crowd.emplace_back(path);
  EXPECT_EQ(crowd.back().received(), "ERROR Too many viewers\r\n");
  EXPECT_EQ(errorOf(port.connect(getpid())), posix(EUSERS));
  EXPECT_TRUE(good->identity());
  crowd.clear();
  EXPECT_TRUE(waitUntil([&] { return port.connect(getpid()).has_value(); }));
}

TEST(DiagnosticsCodecTest, AnswersThatContradictThemselvesAreErrors) {
  using namespace diagnostics;
  const std::string repeaters = "([uint64 1],[int64 2],[int64 3],[byte 0],[0.,1.,2.,3.,4.,5.,6.,7.,8.,9.,10.],['n'])";
  const std::string recording =
      "((['a'],[byte 4],[uint32 1],[int64 1],[int64 2],[int64 3],[uint32 0],[uint32 0]),uint64 1)";
  using Ask = std::string (*)(GVariant*);
  const Ask askRepeaters = [](GVariant* answer) {
    RepeaterNames names;
    const auto decoded = decodeRepeaters(answer, 0, names);
    return decoded && !*decoded ? "names are missing" : errorOf(decoded);
  };
  const Ask askRecording = [](GVariant* answer) { return errorOf(decode<Recording>(answer)); };
  const Ask askLog = [](GVariant* answer) { return errorOf(decode<LogState>(answer)); };
  const Ask askSettings = [](GVariant* answer) { return errorOf(decode<std::vector<SettingState>>(answer)); };
  const struct {
    Ask ask;
    std::string answer, part, other, error = posix(EPROTO);
  } rows[] = {
      {askRepeaters, repeaters, "", "", "none"},
      {askRepeaters, repeaters, "['n']", "@as []"},
      {askRepeaters, repeaters, "['n']", "['n','m']"},
      {askRepeaters, repeaters, "[uint64 1],", "[uint64 0],"},
      {askRepeaters, "([uint64 0]" + repeaters.substr(11), "['n']", "@as []", "names are missing"},
      {askRepeaters, repeaters, "[int64 2]", "@ax []"},
      {askRepeaters, repeaters, ",10.", ""},
      {askRepeaters, repeaters, ",10.", ",10.,11."},
      {askRepeaters, repeaters, "'n'", "1"},
      {askRecording, recording, "", "", "none"},
      {askRecording, recording, "[byte 4]", "[byte 5]"},
      {askRecording, recording, "[int64 2]", "@ax []"},
      {askRecording, recording, "[int64 2]", "[int64 -2]"},
      {askRecording, recording, "[uint32 0],[uint32 0]", "[uint32 1],[uint32 0]"},
      {askRecording, recording, "[uint32 0],[uint32 0]", "[uint32 0],[uint32 1]"},
      {askRecording, recording, "[uint32 0],[uint32 0]", "[uint32 0],@au []"},
      {askLog, "('',[uint64 1,2],int64 1,int64 1,@ay [],(uint64 1,uint64 1))", "", ""},
      {askLog, "('',[uint64 1],int64 -1,int64 1,@ay [],(uint64 1,uint64 1))", "", ""},
      {askSettings, "([('k',[<'v'>,<'v'>])],)", "", ""},
      {askSettings, "([('k',[<[(1,2)]>])],)", "", ""},
  };
  for (const auto& row : rows) {
    std::string text = row.answer;
    if (!row.part.empty()) text.replace(text.find(row.part), row.part.size(), row.other);
    const glib::Ptr<GVariant> answer(g_variant_ref_sink(g_variant_new_parsed(text.c_str())));
    EXPECT_EQ(row.ask(answer.get()), row.error) << text;
  }
}

TEST_F(DiagnosticsPortTest, WhatIsNoProgramIsAnErrorToTheViewer) {
  fs::create_directory(home / "run/corvane");
  fs::permissions(home / "run/corvane", fs::perms::owner_all);
  const FileDescriptor listening(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_un address = addressOf(socketOf(getpid()));
  ASSERT_EQ(bind(listening.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listening.get(), 1), 0);
  const auto reply = [](const char* body) {
    const glib::Ptr<GDBusMessage> message(g_dbus_message_new());
    g_dbus_message_set_message_type(message.get(), G_DBUS_MESSAGE_TYPE_METHOD_RETURN);
    g_dbus_message_set_reply_serial(message.get(), 1);
    g_dbus_message_set_body(message.get(), g_variant_new_parsed(body));
    return "OK 1\r\n" + bytesOf(message.get());
  };
  const std::pair<std::string, int> rows[] = {
      {reply("(<uint32 1>,)"), 0},
      {reply("(<uint32 2>,)"), EPROTO},
      {reply("(uint32 1,)"), EPROTO},
      {"", ENOTCONN},
      {"REJECTED EXTERNAL\r\n", EPROTO},
      {"OK 1\r\n" + std::string(16, 'x'), EPROTO},
      {"OK 1\r\nl\2\1\1\0\0\0\7\1\0\0\0\0\0\0\0"s, EMSGSIZE},
  };
  for (const auto& [bytes, error] : rows) {
    std::thread server([&] {
      const FileDescriptor viewer(accept(listening.get(), nullptr, nullptr));
      (void)!writeAll(viewer.get(), bytes);
      shutdown(viewer.get(), SHUT_WR);
      for (char byte = 0; read(viewer.get(), &byte, 1) > 0;) {
      }
    });
    EXPECT_EQ(errorOf(port.connect(getpid())), error == 0 ? "none" : posix(error)) << bytes;
    server.join();
  }
}

}  // namespace
}  // namespace corvane
