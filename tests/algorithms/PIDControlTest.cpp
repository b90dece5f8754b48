#include "corvane/algorithms/PIDControl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "corvane/testing/ManualClock.h"

namespace corvane {
namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NAN_ = std::numeric_limits<double>::quiet_NaN();

class PIDControlTest : public testing::Test {
 protected:
  // One step of a controller, some time after the last one.
  double step(double seconds, double setpoint, double input, bool useLPF = false) {
    clock.advance(Timeval::nsec(std::llround(seconds * 1e9)));
    return pid.output(setpoint, input, useLPF);
  }

  ManualClock clock{Timeval::sec(1'000'000)};
  PIDControl pid;
};

// First-order plant y' = (u − y)/T under PI control: with the feed-forward a linear system of second order, whose
// solution from rest is known.
TEST_F(PIDControlTest, StepResponseIsThatOfTheContinuousLoop) {
  constexpr double T = 2, KP = 1.5, KI = 0.2, SETPOINT = 0.25, DT = 1e-3, GAIN = 0.6;
  // T·y'' + (1 + g·kp)·y' + g·ki·y = g·ki·r for a constant setpoint r; y(0) = 0, y'(0) = g·(1 + kp)·r/T.
  const double a = (1 + GAIN * KP) / (2 * T), b = std::sqrt(a * a - GAIN * KI / T);
  const double slope = GAIN * (1 + KP) * SETPOINT / T;
  const double fast = -a - b, slow = -a + b;
  const double first = (slope + slow * SETPOINT) / (fast - slow), second = -SETPOINT - first;
  pid.bounds(0, 1);
  pid.coeff(KP, KI, 0);
  double y = 0, worst = 0;
  for (int i = 1; i <= 20'000; ++i) {
    y += DT / T * (GAIN * step(DT, SETPOINT, y) - y);
    const double exact = SETPOINT + first * std::exp(fast * i * DT) + second * std::exp(slow * i * DT);
    worst = std::max(worst, std::abs(y - exact));
  }
  EXPECT_LT(worst, 2e-4);
  EXPECT_NEAR(y, SETPOINT, 0.02);
}

TEST_F(PIDControlTest, WithoutGainsTheOutputIsTheSetpointWithinTheBounds) {
  pid.bounds(10, 30);
  const std::vector<std::pair<double, double>> cases = {{17.5, 17.5}, {10, 10},    {30, 30},   {9.99, 10}, {-1e300, 10},
                                                        {30.01, 30},  {1e300, 30}, {-INF, 10}, {NAN_, 10}};
  for (const auto& [setpoint, expected] : cases) EXPECT_DOUBLE_EQ(step(1, setpoint, 12), expected) << setpoint;
  // Bounds whose difference is rounded are reached exactly all the same.
  for (const auto& [lower, upper] : std::vector<std::pair<double, double>>{{-1e16, 1}, {0.1, 0.7}, {-0.1, 1e-17}}) {
    pid.bounds(lower, upper);
    EXPECT_EQ(step(1, upper + 1e17, 0), upper);
    EXPECT_EQ(step(1, lower - 1e17, 0), lower);
    EXPECT_LE(step(1, std::nextafter(upper, lower), 0), upper);
  }
}

TEST_F(PIDControlTest, WithInvalidBoundsTheOutputIsTheSetpointAndNothingIsStored) {
  pid.coeff(2, 3, 5);
  for (const auto& [lower, upper] :
       std::vector<std::pair<double, double>>{{0, 0}, {1, -1}, {7, 7}, {0, NAN_}, {NAN_, 1}, {INF, INF}}) {
    if (lower != 0 || upper != 0) pid.bounds(lower, upper);
    for (const double setpoint : {0.0, -4.5, 1e9}) EXPECT_EQ(step(1, setpoint, 123, true), setpoint);
  }
  pid.bounds(0, 10);
  pid.coeff(0, 0.01, 1);
  // The previous input still counts as 0, the integral and the filter start now.
  EXPECT_DOUBLE_EQ(step(1, 4, 2), 4 + 0.01 * 2 - 2);
  EXPECT_DOUBLE_EQ(step(1, 4, 2, true), (4 + 0.01 * 4) * -std::expm1(-0.5));
}

// With the setpoint at the lower bound, the output of an integral controller is the integral.
TEST_F(PIDControlTest, TheIntegralStopsAtItsLimitsAndComesBackAtOnce) {
  pid.bounds(0, 1);
  pid.coeff(0, 0.5, 0);
  for (const int saturated : {0, 1000}) {
    for (int i = 1; i <= 20; ++i) EXPECT_NEAR(step(0.1, 0, -1), 0.05 * i, 1e-12);
    for (int i = 0; i <= saturated; ++i) ASSERT_EQ(step(0.1, 0, -1), 1);
    // However long it has been there, the way back begins at once.
    for (int i = 1; i <= 19; ++i) EXPECT_NEAR(step(0.1, 0, 1), 1 - 0.05 * i, 1e-12);
    step(0.1, 0, 1);
    for (int i = 0; i <= saturated; ++i) ASSERT_EQ(step(0.1, 0, 1), 0);
  }
  // A step that spans a long time does not take it further.
  EXPECT_EQ(step(1e6, 0, -1e6), 1);
  EXPECT_DOUBLE_EQ(step(0.1, 0, 1), 0.95);
}

TEST_F(PIDControlTest, AChangeOfKiRescalesTheIntegral) {
  pid.bounds(0, 1);
  const auto integralAfter = [&](double ki) {
    pid.coeff(0, ki, 0);
    return step(1, 0, 0);
  };
  pid.coeff(0, 0.5, 0);
  EXPECT_DOUBLE_EQ(step(1, 0, -0.5), 0.25);
  EXPECT_DOUBLE_EQ(integralAfter(1), 0.5);
  EXPECT_DOUBLE_EQ(integralAfter(1), 0.5);
  EXPECT_DOUBLE_EQ(integralAfter(0.2), 0.1);
  pid.coeff(0, 20, 0);  // 10 for now: only the next step limits it
  EXPECT_DOUBLE_EQ(integralAfter(1), 0.5);
  EXPECT_DOUBLE_EQ(integralAfter(20), 1);
  EXPECT_DOUBLE_EQ(integralAfter(10), 0.5);
  EXPECT_EQ(integralAfter(0), 0);
  EXPECT_EQ(integralAfter(1), 0) << "what was given up does not come back";

  PIDControl fresh;  // from ki = 0 nothing is rescaled
  fresh.bounds(0, 1);
  fresh.coeff(0, 0, 0);
  fresh.coeff(0, 0.25, 0);
  clock.advance(Timeval::sec(1));
  EXPECT_DOUBLE_EQ(fresh.output(0, -1, false), 0.25);
  // A negative gain and one that is not a number leave the integral as it is when they are replaced.
  EXPECT_EQ(integralAfter(-1), 0);
  EXPECT_EQ(integralAfter(0.5), 0);
}

TEST_F(PIDControlTest, TheDerivativeIsThatOfTheInput) {
  pid.bounds(0, 100);
  step(1, 40, 40);  // without gains: makes the input known
  pid.coeff(0, 0, 10);
  EXPECT_DOUBLE_EQ(step(0.001, 40, 40), 40);
  EXPECT_DOUBLE_EQ(step(0.001, 60, 40), 60) << "a step of the setpoint does not kick";
  EXPECT_DOUBLE_EQ(step(2, 60, 43), 60 - 10 * 1.5);
  EXPECT_DOUBLE_EQ(step(2, 60, 41), 60 + 10 * 1);
  EXPECT_DOUBLE_EQ(step(2, 60, 41), 60);

  PIDControl first;  // the input before the first step counts as the lower bound
  first.bounds(20, 120);
  first.coeff(0, 0, 1);
  clock.advance(Timeval::sec(4));
  EXPECT_DOUBLE_EQ(first.output(90, 80, false), 90 - 60 / 4.0);
}

TEST_F(PIDControlTest, TheOutputsFilterSpansTwoStepsAtEveryRate) {
  pid.bounds(100, 200);
  for (int i = 1; i <= 12; ++i) EXPECT_NEAR(step(i * 0.01, 150, 0, true), 100 + 50 * (1 - std::exp(-i / 2.0)), 1e-9);
  EXPECT_DOUBLE_EQ(step(1, 180, 0), 180) << "the filter stands aside";
  EXPECT_NEAR(step(1, 150, 0, true), 100 + 50 * (1 - std::exp(-13 / 2.0)), 1e-9) << "and has not seen it";
  // What it smooths is the sum before the bounds.
  for (int i = 1; i <= 3; ++i) EXPECT_EQ(step(1, 1e6, 0, true), 200);
  EXPECT_EQ(step(1, 150, 0, true), 200);
}

TEST_F(PIDControlTest, LowpassAloneIsAFilterOfFirstOrder) {
  double elapsed = 0;
  for (const double seconds : {0.5, 0.001, 3.0, 0.25}) {
    clock.advance(Timeval::nsec(std::llround(seconds * 1e9)));
    elapsed += seconds;
    EXPECT_NEAR(pid.lowpass(-8, 1.5), -8 * (1 - std::exp(-elapsed / 1.5)), 1e-12);
  }
  const double mean = pid.lowpass(1e9, 1.5);
  EXPECT_NEAR(mean, -8 * (1 - std::exp(-elapsed / 1.5)), 1e-12) << "no time, no weight";
  clock.set(Timeval::sec(999'999));
  EXPECT_EQ(pid.lowpass(77, 1.5), 77) << "backwards: the value itself";
  EXPECT_EQ(pid.lowpass(77, 1.5), mean) << "and the filter as it was";
  EXPECT_DOUBLE_EQ(pid.lowpass(5, 0), 5) << "a time constant of nothing keeps nothing, even in no time";
  EXPECT_DOUBLE_EQ(pid.lowpass(6, -1), 6);
  EXPECT_DOUBLE_EQ(pid.lowpass(7, NAN_), 7);
}

TEST_F(PIDControlTest, OnlyWholeMicrosecondsForwardMakeAStep) {
  pid.bounds(0, 1);
  pid.coeff(0, 1e5, 1);
  for (const std::int64_t nsec : std::vector<std::int64_t>{0, 999, 999, -999, -1'000, -3'600'000'000'000}) {
    clock.advance(Timeval::nsec(nsec));
    EXPECT_EQ(pid.output(-3, 0.5, true), -3) << nsec;
  }
  clock.advance(Timeval::nsec(1'999));
  EXPECT_DOUBLE_EQ(pid.output(0, -1, false), 1) << "the derivative of the first microsecond";
  clock.advance(Timeval::nsec(1'000));
  EXPECT_DOUBLE_EQ(pid.output(0, -1, false), 0.2) << "each of them counted as one microsecond";
}

}  // namespace
}  // namespace corvane
