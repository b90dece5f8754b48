#include "apps/inspector/model/AttachedSource.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "apps/inspector/model/LocalSource.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/testing/FakeDiagnosticsPort.h"
#include "tests/support/Pump.h"

namespace corvane::inspector {

namespace {

// A program that may end, and that counts what it is asked for.
class Program : public FakeProgram {
 public:
  Program(std::int32_t pid, std::string identifier, std::int64_t started) {
    itsIdentity->identifier = std::move(identifier);
    itsIdentity->pid = pid;
    itsIdentity->started = started;
    itsIdentity->allowsControl = true;
  }

  std::atomic<bool> isGone = false;
  std::atomic<int> repeaterCalls = 0, listenerCalls = 0;

  Result<std::vector<RepeaterState>> repeaters() override {
    ++repeaterCalls;
    return unlessGone(itsRepeaters);
  }
  Result<QueueStates> queues() override {
    itsQueues->main.depth = static_cast<std::size_t>(watches);
    return unlessGone(itsQueues);
  }
  Result<std::vector<ListenerState>> listeners() override {
    ++listenerCalls;
    return unlessGone(itsListeners);
  }
  Result<LogState> log(const LogPlace& after, std::size_t) override {
    itsLog->text = "from " + std::to_string(after.offset) + "\n";
    itsLog->place.offset = after.offset + 5;
    return unlessGone(itsLog);
  }

 private:
  template <class Answer>
  Answer unlessGone(const Answer& answer) const {
    return isGone ? Answer(failure("posix", ENOTCONN, "gone")) : answer;
  }
};

class Port : public FakeDiagnosticsPort {
 public:
  Result<std::vector<std::int32_t>> programs() override {
    std::vector<std::int32_t> pids;
    for (const auto& [pid, program] : others)
      if (!isGone(pid)) pids.push_back(pid);
    return pids;
  }
  Result<std::shared_ptr<Inspectable>> connect(std::int32_t pid) override {
    if (isGone(pid)) return failure("posix", ENOENT, "no such program");
    return FakeDiagnosticsPort::connect(pid);
  }

 private:
  bool isGone(std::int32_t pid) const { return static_cast<const Program&>(*others.at(pid)).isGone; }
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
    m_program->itsRepeaters = std::vector{repeater(3, "tick"), repeater(9, "tick"), repeater(7, "tick (2)")};
    m_later->isGone = true;
    m_port.others = {{5, m_other}, {10, m_program}, {20, m_later}};
  }

  void attach() {
    m_source.emplace(m_local.machine(), m_port, *m_program->itsIdentity, [this] { ++m_changes; });
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
    m_program->itsIdentity->allowsControl = allows;
    attach();
    ASSERT_TRUE(pumpUntil([&] { return names().size() == 3; }));
    EXPECT_EQ(m_source->repeaters().allowsControl(), allows);
    m_source->repeaters().togglePause("tick (3)");
    const int changes = m_changes;
    ASSERT_TRUE(pumpUntil([&] { return m_changes >= changes + 2; }));
    m_source.reset();
    EXPECT_EQ(m_program->calls, std::vector<std::string>(allows ? 1 : 0, "setPaused 9 true"));
    m_program->calls.clear();
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
  EXPECT_EQ(text, "from 10\n") << "nothing comes twice";
  EXPECT_EQ((*queues)->main.depth, 1U);
  EXPECT_EQ(m_source->identity().pid, 20);
  following.reset();
  EXPECT_TRUE(pumpUntil([&] { return m_later->watches == 0; }));
}

}  // namespace

}  // namespace corvane::inspector
