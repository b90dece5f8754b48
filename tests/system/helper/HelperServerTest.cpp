#include "corvane/system/helper/HelperServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "corvane/core/MainQueue.h"
#include "corvane/testing/FakePlatform.h"

namespace corvane {
namespace {

using Dictionary = Message::Dictionary;

class HelperServerTest : public testing::Test {
 protected:
  HelperServerTest() {
    const auto answer = [this](const Message&, const MessageCaller&) -> Message { return ++runs, Message(); };
    server.handle("free", "", answer);
    server.handle("right", "a.right", answer);
    server.handle("once", "a.right", answer, HelperServer::Ask::ONCE_PER_CONNECTION);
    server.stopOn("stop", "");
    listeners.rights = {"a.right"};
    listeners.hesitates = true;
  }

  // Each step runs once the helper has taken what the previous one sent.
  int run(std::vector<std::function<void()>> steps) {
    const auto todo = std::make_shared<std::vector<std::function<void()>>>(steps.rbegin(), steps.rend());
    main_post([todo] { next(todo); });
    const int status = server.run();
    todo->clear();
    return status;
  }
  static void next(const std::shared_ptr<std::vector<std::function<void()>>>& todo) {
    if (todo->empty()) return;
    const auto step = todo->back();
    todo->pop_back();
    step();
    main_post([todo] { main_post([todo] { next(todo); }); });
  }

  std::size_t send(const char* key, MessageCaller caller = FakeMessageListeners::caller()) {
    return listeners.send(Dictionary{{key, ""}}, std::move(caller));
  }
  // "ok", "none" or the last part of an error's name.
  std::string outcome(std::size_t number) const {
    const auto reply = listeners.reply(number);
    const auto* error = reply ? reply->asError() : nullptr;
    return !reply ? "none" : !error ? "ok" : error->name.substr(error->name.rfind('.') + 1);
  }

  FakePlatform fake;
  FakeMessageListeners& listeners = *fake.messageListeners;
  HelperServer server{"a.b", 0.05};
  int runs = 0;
};

TEST_F(HelperServerTest, who_has_left_gets_nothing) {
  EXPECT_EQ(run({[&] { send("right"); }, [&] { listeners.leave(":1.1"); }, [&] { listeners.decide(); },
                 [&] { send("free", {.name = ":1.2", .executable = {}, .hasLeft = true}); }}),
            0);
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(outcome(0) + outcome(1), "nonenone");
  // The stop message may be the last that a program does.
  HelperServer other("a.b", 1000);
  other.stopOn("stop", "");
  main_post([&] { send("stop", {.name = ":1.3", .executable = {}, .hasLeft = true}); });
  EXPECT_EQ(other.run(), 0);
}

TEST_F(HelperServerTest, a_right_is_remembered_for_its_key_and_caller_alone) {
  const auto sendAll = [&] {
    MessageCaller heir = FakeMessageListeners::caller();
    heir.pid = 0;  // of a process that has ended
    send("once"), send("right"), send("once", FakeMessageListeners::caller(":1.2")), send("once", heir);
  };
  run({[&] { send("once"); }, [&] { listeners.decide(); }, sendAll, [&] { listeners.leave(":1.1"); },
       [&] { listeners.leave(":1.2"); }});
  EXPECT_EQ(outcome(1) + outcome(2) + outcome(3) + outcome(4), "oknonenonenone");
}

TEST_F(HelperServerTest, what_came_before_the_end_is_answered) {
  listeners.beforeClose = [&] { send("free", FakeMessageListeners::caller(":1.2")); };
  EXPECT_EQ(run({}), 0) << "idle";
  EXPECT_EQ(outcome(0), "ok");
  listeners.beforeClose = [&] { send("free"); };
  HelperServer stopped("a.b", 1000);
  stopped.handle("free", "", [](const Message&, const MessageCaller&) { return Message(); });
  stopped.handle("right", "a.right", [](const Message&, const MessageCaller&) { return Message(); });
  stopped.stopOn("stop", "");
  main_post([&] { send("right"), send("stop"); });
  EXPECT_EQ(stopped.run(), 0);
  EXPECT_EQ(outcome(1) + " " + outcome(2) + " " + outcome(3), "Stopping ok Stopping");
}

TEST_F(HelperServerTest, the_list_of_callers_counts) {
  const std::string program = "/usr/bin/env";
  const auto info = [](const std::string& entries, const std::string& label = "a.b") {
    return "<plist><dict><key>CFBundleIdentifier</key><string>" + label + "</string>" + entries + "</dict></plist>";
  };
  const std::string key = "<key>CorvaneHelperCallers</key>";
  const struct {
    Result<std::optional<std::string>> info;
    const char* outcome;  // or the status of a helper that does not begin
    std::string caller = {};
  } rows[] = {
      {std::nullopt, "ok"},
      {info(""), "ok"},
      {info(key + "<array><string>/usr/bin/env</string></array>"), "ok", program},
      {info(key + "<array><string>/usr/bin/env</string></array>"), "NotACaller", "/usr/bin/sleep"},
      {info(key + "<array><string>/tmp</string></array>"), "NotACaller", "/tmp"},
      {info(key + "<array><string>/usr/bin/env</string></array>"), "NotACaller", ""},
      {info(key + "<array/>"), "NotACaller", program},
      {info(key + "<array><string>env</string></array>"), "1", program},
      {info(key + "<string>/usr/bin/env</string>"), "1", program},
      {info(key + "<array><integer>1</integer></array>"), "1", program},
      {info("", "a.c"), "1"},
      {"no property list", "1"},
      {failure("bundle", 0, "Damaged executable"), "1"},
  };
  for (const auto& row : rows) {
    listeners.info = row.info;
    std::size_t number = 0;
    const int before = runs;
    const int status = run({[&] { number = send("free", FakeMessageListeners::caller(":1.1", row.caller)); },
                            [&] { listeners.leave(":1.1"); }});
    EXPECT_EQ(status != 0 ? std::to_string(status) : outcome(number), row.outcome)
        << row.info.value_or("").value_or("");
    EXPECT_EQ(runs - before, row.outcome == std::string("ok"));
  }
}

TEST_F(HelperServerTest, strangers_do_not_write_lines_of_the_journal) {
  testing::internal::CaptureStderr();
  const MessageCaller stranger = FakeMessageListeners::caller(":1.1", "/tmp/a\nroot: all is well\x1b\xff");
  EXPECT_EQ(run({[&] {
                   for (int i = 0; i < 100; ++i) send("unknown\nkey", stranger);
                 },
                 [&] { listeners.leave(":1.1"); }}),
            0);
  const std::string journal = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::ranges::count(journal, '\n'), 20) << journal;
  EXPECT_NE(journal.find("refused a request of /tmp/a?root: all is well?\xEF\xBF\xBD (user 1000, process 4711, :1.1): "
                         "no known request\n"),
            std::string::npos)
      << journal;
}

TEST_F(HelperServerTest, it_ends_without_callers_or_without_its_label) {
  bool wasNeeded = false;
  const auto leaveLater = [&] {
    main_after(0.2, [&] {
      wasNeeded = listeners.isListening();
      listeners.leave(":1.1");
    });
  };
  EXPECT_EQ(run({[&] { send("right"); }, [&] { listeners.decide(); }, leaveLater}), 0);
  EXPECT_TRUE(wasNeeded) << "a connected application keeps its helper";
  EXPECT_EQ(run({[&] { send("right"); }, [&] { listeners.lose({"fake", 1, "gone"}); }}), 1);
  EXPECT_EQ(outcome(1), "Stopping");
  listeners.error = Error{"fake", 1, "taken"};
  EXPECT_EQ(server.run(), 1);
}

}  // namespace
}  // namespace corvane
