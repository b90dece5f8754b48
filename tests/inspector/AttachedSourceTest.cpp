#include "apps/inspector/model/AttachedSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "apps/inspector/model/LocalSource.h"
#include "corvane/core/MasterTimer.h"
#include "tests/support/Pump.h"

namespace corvane::inspector {

namespace {

// A program whose figures the test sets, and which counts what it is asked for.
class Program : public Inspectable {
 public:
  Program(std::int32_t pid, std::string identifier, std::int64_t started) {
    m_identity.identifier = std::move(identifier);
    m_identity.name = "Atlas";
    m_identity.executable = "/opt/atlas";
    m_identity.pid = pid;
    m_identity.started = started;
    m_identity.allowsControl = true;
  }

  ProgramIdentity m_identity;
  std::vector<RepeaterState> m_repeaters;
  std::atomic<bool> isGone = false;
  std::atomic<int> repeaterCalls = 0, listenerCalls = 0, watches = 0;
  std::atomic<std::uint64_t> paused = 0;

  Result<ProgramIdentity> identity() override { return answer(m_identity); }
  Result<std::vector<RepeaterState>> repeaters() override {
    ++repeaterCalls;
    return answer(m_repeaters);
  }
  Result<QueueStates> queues() override {
    QueueStates states;
    states.main.depth = static_cast<std::size_t>(watches);
    return answer(states);
  }
  Result<std::vector<ListenerState>> listeners() override {
    ++listenerCalls;
    return answer(std::vector<ListenerState>{{"key", "app::Meter", 2, 9}});
  }
  Result<LogState> log(const LogPlace& after, std::size_t) override {
    return answer(LogState{"/log", 5, 0, 0, "from " + std::to_string(after.offset) + "\n", {1, after.offset + 5}});
  }
  Result<std::vector<SettingState>> settings() override { return answer(std::vector<SettingState>()); }
  Result<std::shared_ptr<void>> watch() override {
    ++watches;
    return answer(std::shared_ptr<void>(nullptr, [this](void*) { --watches; }));
  }
  Result<Recording> recording(double) override { return answer(Recording()); }
  Result<LongSpans> longSpans(std::uint64_t since, std::int64_t) override {
    return answer(LongSpans{{}, since + 1, 0});
  }
  Result<void> resetStats() override { return {}; }
  Result<void> setTimeConstant(double) override { return {}; }
  Result<void> setPaused(std::uint64_t id, bool pauses) override {
    paused = pauses ? id : 0;
    return {};
  }

 private:
  template <class Value>
  Result<Value> answer(Value value) const {
    if (isGone) return failure("posix", ENOTCONN, "gone");
    return value;
  }
};

class Port : public DiagnosticsPort {
 public:
  std::vector<std::shared_ptr<Program>> m_programs;  // in the order of their ids; set before they are asked for

  Result<std::shared_ptr<void>> open(std::shared_ptr<Inspectable>) override { return nullptr; }
  Result<std::vector<std::int32_t>> programs() override {
    std::vector<std::int32_t> pids;
    for (const auto& program : m_programs)
      if (!program->isGone) pids.push_back(program->m_identity.pid);
    return pids;
  }
  Result<std::shared_ptr<Inspectable>> connect(std::int32_t pid) override {
    for (const auto& program : m_programs)
      if (!program->isGone && program->m_identity.pid == pid) return program;
    return failure("posix", ENOENT, "no such program");
  }
};

RepeaterState repeater(std::uint64_t id, std::string name) {
  RepeaterState state;
  state.id = id;
  state.name = std::move(name);
  return state;
}

class AttachedSourceTest : public testing::Test {
 protected:
  AttachedSourceTest() {
    MasterTimer::instance()->start();
    m_program->m_repeaters = {repeater(3, "tick"), repeater(9, "tick"), repeater(7, "tick (2)")};
    m_later->isGone = true;
    m_port.m_programs = {m_other, m_program, m_later};
  }

  void attach() {
    m_source.emplace(m_local.machine(), m_port, m_program->m_identity, [this] { ++m_changes; });
  }
  std::vector<std::string> names() {
    std::vector<std::string> names;
    for (const RepeaterRow& row : m_source->repeaters().rows()) names.push_back(row.name);
    return names;
  }

  const std::shared_ptr<Program> m_other = std::make_shared<Program>(5, "other", 900);
  const std::shared_ptr<Program> m_program = std::make_shared<Program>(10, "atlas", 100);
  const std::shared_ptr<Program> m_later = std::make_shared<Program>(20, "atlas", 200);
  static inline Port m_port;  // which queues use a little longer than the source
  LocalSource m_local{""};
  int m_changes = 0;
  std::optional<AttachedSource> m_source;
};

TEST_F(AttachedSourceTest, AsksOnlyForWhatIsRead) {
  attach();
  ASSERT_TRUE(pumpUntil([&] { return m_changes == 2; }));
  EXPECT_EQ(m_source->presence(), Presence::HERE);
  EXPECT_EQ(m_program->repeaterCalls, 0);
  const auto all = std::vector<std::string>{"tick", "tick (2)", "tick (3)"};
  ASSERT_TRUE(pumpUntil([&] { return names() == all; }));
  const int calls = m_program->repeaterCalls;
  const int changes = m_changes;
  ASSERT_TRUE(pumpUntil([&] { return m_changes == changes + 4; }));
  EXPECT_LE(m_program->repeaterCalls, calls + 1) << "nobody has read them since";
  EXPECT_EQ(m_program->listenerCalls, 0);
}

TEST_F(AttachedSourceTest, ControlsWhatTheProgramAllows) {
  for (const bool allows : {true, false}) {
    m_program->m_identity.allowsControl = allows;
    attach();
    ASSERT_TRUE(pumpUntil([&] { return names().size() == 3; }));
    EXPECT_EQ(m_source->repeaters().allowsControl(), allows);
    m_source->repeaters().togglePause("tick (3)");
    const int changes = m_changes;
    ASSERT_TRUE(pumpUntil([&] { return m_changes >= changes + 2; }));
    EXPECT_EQ(m_program->paused.exchange(0), allows ? 9U : 0U);
  }
}

TEST_F(AttachedSourceTest, WaitsForTheNextRun) {
  attach();
  std::string text;
  std::optional<Result<QueueStates>> queues;
  const auto log = m_source->followLog(100, [&](Result<LogState> state) { text += state ? state->text : ""; });
  auto following = m_source->followQueues([&](Result<QueueStates> states) { queues = std::move(states); });
  ASSERT_TRUE(pumpUntil([&] { return text == "from 0\nfrom 5\n" && queues && names().size() == 3; }));
  EXPECT_EQ((*queues)->main.depth, 1U);
  m_program->isGone = true;
  ASSERT_TRUE(pumpUntil([&] { return m_source->presence() == Presence::ENDED && !*queues; }));
  EXPECT_EQ(names().size(), 3U) << "what was known last";
  text.clear();
  m_later->isGone = false;
  ASSERT_TRUE(pumpUntil([&] { return m_source->presence() == Presence::HERE && *queues && !text.empty(); }));
  EXPECT_EQ(text, "from 0\n");
  EXPECT_EQ((*queues)->main.depth, 1U);
  EXPECT_EQ(m_source->identity().pid, 20);
  following.reset();
  EXPECT_TRUE(pumpUntil([&] { return m_later->watches == 0; }));
}

}  // namespace

}  // namespace corvane::inspector
