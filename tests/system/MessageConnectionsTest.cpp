#include "corvane/platform/MessageConnections.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <cmath>
#include <latch>
#include <thread>

#include "corvane/core/Mutex.h"
#include "corvane/linux/bus/MessageCodec.h"
#include "corvane/platform/Platform.h"
#include "tests/support/Conditions.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using testing::HasSubstr;
using Dictionary = Message::Dictionary;
using Array = Message::Array;
using Kind = MessageError::Kind;

constexpr const char* LABEL = "a.b.helper";

// A bus that can start the helper, and a connection to it.
class HelperOnBus {
 public:
  explicit HelperOnBus(const std::string& program = CORVANE_ECHO_HELPER, const std::string& label = LABEL) {
    std::ofstream(home.path() / (std::string(LABEL) + ".service"))
        << "[D-BUS Service]\nName=" << LABEL << "\nExec=" << program << " " << LABEL << "\n";
    bus = std::make_unique<PrivateBus>(home.path());
    const auto heard = [this](ConnectionEvent event) {
      MutexLock lock(m_mutex);
      m_events.push_back(event);
      m_mutex.broadcast();
    };
    connection = platform().messageConnections().connect(label, *events, *replies, heard).value();
  }

  Message request(const Message& sent) {
    std::latch answered(1);
    Message got;
    connection->send(sent, [&](const Message& reply) {
      got = reply;
      answered.count_down();
    });
    answered.wait();
    return got;
  }

  // The first event, once there is one.
  ConnectionEvent event() {
    MutexLock lock(m_mutex);
    while (m_events.empty()) m_mutex.wait();
    const ConnectionEvent first = m_events.front();
    m_events.erase(m_events.begin());
    return first;
  }

  TempHome home;
  std::unique_ptr<PrivateBus> bus;
  std::unique_ptr<SerialQueue> events = platform().serialQueues().make("events", QoS::DEFAULT);
  std::unique_ptr<SerialQueue> replies = platform().serialQueues().make("replies", QoS::DEFAULT);
  std::unique_ptr<MessageConnection> connection;

 private:
  Mutex m_mutex;
  std::vector<ConnectionEvent> m_events CORVANE_GUARDED_BY(m_mutex);
};

class MessageConnectionTest : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "a helper must be root's";
  }
};

Message nested(std::size_t levels, bool arrays, Message innermost) {
  for (std::size_t i = 1; i < levels; ++i)
    innermost = arrays ? Message(Array{innermost}) : Message(Dictionary{{"k", innermost}});
  return Dictionary{{"k", innermost}};
}

TEST_F(MessageConnectionTest, carries_what_the_limits_allow_and_survives_the_rest) {
  HelperOnBus helper;
  EXPECT_EQ(helper.connection->peerPid(), 0);
  Array many;
  for (int i = 0; i < 1000; ++i) many.push_back(Dictionary{{"key " + std::to_string(i), i}});
  const auto data = [](std::size_t bytes) { return Dictionary{{"k", Data{std::vector<std::uint8_t>(bytes, 7)}}}; };
  constexpr std::size_t MOST = MessageLimits::BYTES - 24;  // the rest is for key, type and padding
  const SharedDescriptor file(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const Dictionary kinds = {{"", Message::Null()},
                            {"text ü", Array{"text \U0001F600", ""}},
                            {"integers", Array{INT64_MIN, INT64_MAX}},
                            {"reals", Array{1.5, -INFINITY, NAN}},
                            {"truths", Array{true, false}},
                            {"data", Data{}},
                            {"date", Date{-0.25}},
                            {"empty", Array{Dictionary{}, Array{}}}};
  const struct {
    Message message;
    const char* error = "";  // if it does not come back
  } rows[] = {
      {kinds},
      {Dictionary{{"many", many}}},
      {data(MOST)},
      {data(MOST + 1), "31 MiB"},
      {Dictionary{{std::string(MessageLimits::BYTES, 'k'), 1}}, "31 MiB"},
      {nested(20, false, Date{1})},
      {nested(20, true, Date{1})},
      {nested(21, false, 1), "20 levels"},
      {Dictionary{{"k", Array(99'999, 1)}}},
      {Dictionary{{"k", Array(100'000, 1)}}, "100000 values"},
      {Dictionary{{"k", Array(17, file)}}, "16 file descriptors"},
      {Dictionary{{"k", SharedDescriptor(-1)}}, "descriptor of the message"},
      {Dictionary{{"\xff", 1}}, "UTF-8"},
      {Dictionary{{"k", std::string("a\0b", 3)}}, "NUL"},
      {Dictionary{{"k", MessageError{}}}, "error cannot be sent"},
      {Array{}, "Only a dictionary"},
      {Dictionary{{"mistake", ""}}, "not a dictionary"},
  };
  for (const auto& row : rows) {
    const Message reply = helper.request(row.message);
    if (*row.error)
      EXPECT_THAT(reply.asError() ? reply.asError()->description : "came back", HasSubstr(row.error));
    else
      EXPECT_TRUE(reply == row.message) << &row - rows;
  }
  const Message back = helper.request(Dictionary{{"k", Array(16, file)}});
  ASSERT_TRUE(back.find("k"));
  EXPECT_NE(fcntl(back.find("k")->asArray()->at(15).asDescriptor()->get(), F_GETFD) & FD_CLOEXEC, 0);
  const Message flags = helper.request(Dictionary{{"flags", ""}});
  EXPECT_NE(*flags.find("flags")->asInteger() & 4, 0) << "no question allowed";
  EXPECT_GT(helper.connection->peerPid(), 0);
}

TEST_F(MessageConnectionTest, tells_how_a_request_failed) {
  using Event = ConnectionEvent;
  const std::string bus = "org.freedesktop.DBus.Error.";
  const struct {
    const char* request;
    MessageError error;  // its kind and name
    std::optional<Event> event;
    std::string program = CORVANE_ECHO_HELPER;
    const char* label = LABEL;
    std::function<void(HelperOnBus&)> before = [](HelperOnBus&) {};
  } rows[] = {
      {"crash", {Kind::INTERRUPTED, bus + "NoReply", {}}, Event::INTERRUPTED},
      {"error", {Kind::OTHER, "a.b.Refused", {}}, {}},
      {"forged", {Kind::OTHER, bus + "NoReply", {}}, {}},
      {"k", {Kind::INVALID, bus + "ServiceUnknown", {}}, Event::INVALID, CORVANE_ECHO_HELPER, "a.b.nobody"},
      {"k", {Kind::INVALID, bus + "Spawn.ExecFailed", {}}, Event::INVALID, "/nowhere"},
      {"k", {Kind::INVALID, bus + "Spawn.ChildExited", {}}, Event::INVALID, "/bin/false"},
      {"k", {Kind::INVALID, "", {}}, Event::INVALID, CORVANE_ECHO_HELPER, LABEL, [](auto& it) { it.bus.reset(); }},
      {"k", {Kind::INVALID, "", {}}, {}, CORVANE_ECHO_HELPER, LABEL, [](auto& it) { it.connection->cancel(); }},
  };
  for (const auto& row : rows) {
    HelperOnBus helper(row.program, row.label);
    row.before(helper);
    const Message reply = helper.request(Dictionary{{row.request, ""}});
    ASSERT_TRUE(reply.asError()) << row.request;
    EXPECT_EQ(reply.asError()->kind, row.error.kind) << row.error.name;
    EXPECT_EQ(reply.asError()->name, row.error.name);
    EXPECT_NE(reply.asError()->description, "");
    if (row.event) {
      EXPECT_EQ(helper.event(), *row.event) << row.error.name;
    }
  }
}

TEST_F(MessageConnectionTest, starts_the_helper_anew_after_a_crash) {
  HelperOnBus helper;
  std::latch lost(1);
  helper.connection->send(Dictionary{{"silence", ""}}, [&](const Message& reply) {
    EXPECT_EQ(reply.asError() ? reply.asError()->kind : Kind::OTHER, Kind::INTERRUPTED);
    lost.count_down();
  });
  EXPECT_TRUE(helper.request(Dictionary{{"unasked", ""}}).asDictionary());
  EXPECT_EQ(helper.event(), ConnectionEvent::MESSAGE);
  const auto pid = helper.connection->peerPid();
  EXPECT_TRUE(helper.request(Dictionary{{"crash", ""}}).asError());
  lost.wait();
  EXPECT_EQ(helper.event(), ConnectionEvent::INTERRUPTED);
  EXPECT_EQ(helper.connection->peerPid(), 0);
  EXPECT_TRUE(helper.request(Dictionary{{"k", ""}}).asDictionary());
  EXPECT_NE(helper.connection->peerPid(), pid);
}

TEST_F(MessageConnectionTest, lets_requests_wait_of_which_the_bus_would_lose_track) {
  HelperOnBus helper;
  std::latch answered(300);
  std::atomic<int> right = 0;
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 15; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 20; ++i) {
        const Message request = Dictionary{{"nap", thread * 100 + i}};
        helper.connection->send(request, [&, request](const Message& reply) {
          right += reply == request;
          answered.count_down();
        });
      }
    });
  answered.wait();
  EXPECT_EQ(right, 300);
}

TEST_F(MessageConnectionTest, delivers_what_was_sent_before_it_ends) {
  HelperOnBus helper;
  EXPECT_TRUE(helper.request(Dictionary{{"k", ""}}).asDictionary());
  const auto pid = helper.connection->peerPid();
  std::latch refused(130);
  const auto isRefused = [&](const Message& reply) {
    EXPECT_TRUE(reply.asError());
    refused.count_down();
  };
  for (int i = 0; i < 129; ++i) helper.connection->send(Dictionary{{"silence", ""}}, isRefused);
  helper.connection->send(Dictionary{{"crash", Data{std::vector<std::uint8_t>(16 << 20)}}},
                          isRefused);  // takes a while
  helper.connection.reset();
  refused.wait();
  EXPECT_TRUE(waitUntil([pid] { return kill(pid, 0) != 0; }));
}

TEST(MessageConnections, refuse_a_helper_that_is_not_roots) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        if (geteuid() == 0 && setuid(OrdinaryUser::NOBODY) != 0) _exit(2);
        HelperOnBus helper;
        const Message reply = helper.request(Dictionary{{"k", ""}});
        const bool isRefused =
            reply.asError() && reply.asError()->kind == Kind::INVALID && helper.event() == ConnectionEvent::INVALID;
        _exit(isRefused ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST(MessageCodec, reads_what_strangers_send) {
  std::string many = "{'k': <[<1>";
  for (std::size_t i = 1; i < MessageLimits::VALUES; ++i) many += ",<1>";
  many += "]>}";
  const struct {
    const char* sent;
    Message read;            // the value of "k"
    const char* error = "";  // if there is none
  } rows[] = {
      {"{'k': <byte 255>}", 255},
      {"{'k': <int16 -2>}", -2},
      {"{'k': <uint16 65535>}", 65535},
      {"{'k': <int32 -3>}", -3},
      {"{'k': <uint32 4294967295>}", 4294967295},
      {"{'k': <uint64 9223372036854775807>}", INT64_MAX},
      {"{'k': <uint64 9223372036854775808>}", {}, "beyond 64 bits"},
      {"{'k': <objectpath '/a'>}", "/a"},
      {"{'k': <signature 'a{sv}'>}", "a{sv}"},
      {"{'k': <['a']>}", {}, "type as,"},
      {"{'k': <<1>>}", {}, "type v,"},
      {"{'k': <@() ()>}", {}, "type (),"},
      {"{'k': <{'a': 1}>}", {}, "type a{si},"},
      {"{'k': <1>, 'k': <2>}", {}, "\"k\" twice"},
      {"{'k': <handle 0>}", {}, "descriptor that did not come"},
      {"{'k': <handle -1>}", {}, "descriptor that did not come"},
      {"{'k': <[<handle 2147483647>]>}", {}, "descriptor that did not come"},
      {"{'k':<[<[<[<[<[<[<[<[<[<[<[<[<[<[<[<[<[<[<[<@av []>]>]>]>]>]>]>]>]>]>]>]>]>]>]>]>]>]>]>]>}", {}, "20 levels"},
      {many.c_str(), {}, "100000 values"},
      {"({'k': <1>},)", {}, "not a dictionary"},
      {"@a{ss} {}", {}, "not a dictionary"},
  };
  for (const auto& row : rows) {
    const glib::Ptr<GVariant> sent(g_variant_ref_sink(g_variant_new_parsed(row.sent)));
    const auto message = decode(sent.get(), nullptr);
    ASSERT_EQ(message.has_value(), !*row.error) << &row - rows;
    if (message)
      EXPECT_TRUE(*message->find("k") == row.read) << row.sent;
    else
      EXPECT_THAT(message.error().description, HasSubstr(row.error));
  }
  EXPECT_FALSE(decode(nullptr, nullptr));
}

}  // namespace
}  // namespace corvane
