#include "corvane/infra/Pointers.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <latch>
#include <thread>

namespace corvane {
namespace {

std::atomic<int> s_alive = 0;

struct Counted : Object {
  explicit Counted(int id = 0) : number(id) { ++s_alive; }
  ~Counted() override {
    atEnd();
    --s_alive;
  }
  const int number;
  std::function<void()> atEnd = [] {};
};

struct Sub : Counted {};
struct Other : Object {};
// Its Object is not at the beginning.
struct Wide : std::string, Counted {};

constexpr std::uint8_t KEYS[4] = {};

auto making(int number) {
  return [number] { return std::make_shared<Counted>(number); };
}

TEST(Pointers, ABridgeTakesNoReferenceAndGivesAStrongOne) {
  auto wide = std::make_shared<Wide>();
  const std::weak_ptr<Wide> weak = wide;
  void* const pointer = Pointers::bridge(*wide);
  EXPECT_EQ(wide.use_count(), 1);
  auto again = Pointers::bridge<Wide>(pointer);
  EXPECT_EQ(again, wide);
  EXPECT_EQ(Pointers::bridge<Counted>(pointer), wide);
  wide.reset();
  EXPECT_FALSE(weak.expired());
  again.reset();
  EXPECT_TRUE(weak.expired());
}

TEST(Pointers, AssociatedObjectsAreMadeOncePerKeyAndBase) {
  const auto base = std::make_shared<Counted>(), stranger = std::make_shared<Counted>();
  EXPECT_EQ(Pointers::associatedObject(*base, &KEYS[0], making(1)),
            Pointers::associatedObject(*base, &KEYS[0], making(2)));
  EXPECT_EQ(Pointers::associatedObject(*base, &KEYS[1], making(3))->number, 3);
  EXPECT_EQ(Pointers::associatedObject(*stranger, &KEYS[0], making(4))->number, 4);
  // Another class is in the way; a class derived from the wanted one is not.
  Pointers::associateObject(*base, &KEYS[0], std::make_shared<Other>());
  EXPECT_EQ(Pointers::associatedObject(*base, &KEYS[0], making(2))->number, 2);
  const auto sub = std::make_shared<Sub>();
  Pointers::associateObject(*base, &KEYS[0], sub);
  EXPECT_EQ(Pointers::associatedObject(*base, &KEYS[0], making(5)), sub);
  Pointers::associateObject(*base, &KEYS[0], nullptr);
  EXPECT_EQ(Pointers::associatedObject(*base, &KEYS[0], making(6))->number, 6);
}

TEST(Pointers, AssociatedObjectsLiveAsLongAsTheirBaseOrUntilReplaced) {
  auto base = std::make_shared<Counted>();
  for (const auto& key : KEYS) Pointers::associatedObject(*base, &key, making(0));
  EXPECT_EQ(s_alive, 5);
  // What is replaced may use the base from its destructor, so it is not destroyed under a lock.
  Pointers::associatedObject(*base, &KEYS[1], making(0))->atEnd = [&] {
    EXPECT_EQ(Pointers::associatedObject(*base, &KEYS[1], making(9))->number, 8);
  };
  Pointers::associateObject(*base, &KEYS[1], std::make_shared<Counted>(8));
  EXPECT_EQ(s_alive, 5);
  const auto kept = Pointers::associatedObject(*base, &KEYS[2], making(0));
  std::thread([base = std::move(base)]() mutable { base.reset(); }).join();
  EXPECT_EQ(s_alive, 1);
}

TEST(Pointers, AnInitialiserMayAssociateAndFail) {
  const auto base = std::make_shared<Counted>();
  const auto nested = Pointers::associatedObject(*base, &KEYS[0], [&] {
    Pointers::associateObject(*base, &KEYS[0], std::make_shared<Counted>(1));
    return std::make_shared<Counted>(Pointers::associatedObject(*base, &KEYS[1], making(2))->number + 10);
  });
  EXPECT_EQ(nested->number, 1) << "what was associated under the own key counts";
  EXPECT_EQ(Pointers::associatedObject(*base, &KEYS[1], making(0))->number, 2);
  const auto failing = []() -> std::shared_ptr<Counted> { throw std::runtime_error("no"); };
  EXPECT_THROW(Pointers::associatedObject(*base, &KEYS[2], failing), std::runtime_error);
  EXPECT_EQ(Pointers::associatedObject(*base, &KEYS[2], making(7))->number, 7);
}

TEST(Pointers, ThreadsThatAskAtOnceGetTheSameObject) {
  for (int round = 0; round < 100; ++round) {
    const auto base = std::make_shared<Counted>();
    std::atomic<int> made = 0;
    std::latch start(4);
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread)
      threads.emplace_back([&] {
        start.arrive_and_wait();
        const auto got = Pointers::associatedObject(*base, &KEYS[0], [&] {
          std::this_thread::yield();
          return std::make_shared<Counted>(++made);
        });
        EXPECT_EQ(got->number, 1);
      });
  }
}

TEST(Pointers, ArraysAreCopied) {
  std::string names[] = {"a", "b", "c"};
  EXPECT_THAT(Pointers::convertptr(names, 2), testing::ElementsAre("a", "b"));
  EXPECT_EQ(Pointers::convertptr<int>(nullptr, 0).size(), 0U);
}

TEST(PointersDeath, BrokenPreconditionsAreFatal) {
  const auto base = std::make_shared<Counted>();
  EXPECT_DEATH(Pointers::bridge<Counted>(nullptr), "fatal: Pointers::bridge: the pointer is null");
  EXPECT_DEATH(Pointers::bridge<Sub>(Pointers::bridge(*base)), "the object is of another class");
  Counted loose;
  EXPECT_DEATH(Pointers::bridge<Counted>(Pointers::bridge(loose)), "no shared_ptr holds");
  EXPECT_DEATH(Pointers::convertptr<int>(nullptr, 1), "convertptr: the pointer is null");
  const auto own = [&] { return Pointers::associatedObject(*base, &KEYS[0], making(1)); };
  EXPECT_DEATH(Pointers::associatedObject(*base, &KEYS[0], own), "asks for the object that it makes");
}

}  // namespace
}  // namespace corvane
