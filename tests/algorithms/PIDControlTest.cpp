#include "corvane/algorithms/PIDControl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <random>
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

// The same law in another form: in the units of the bounds, in extended precision, the filter's mean as a sum over all
// outputs so far.
class Reference {
 public:
  using Real = long double;
  Real kp = 0, ki = 0, kd = 0, lower = 0, upper = 0;

  void coeff(Real p, Real i, Real d) {
    if (ki > 0) m_area *= i / ki;
    kp = p, ki = i, kd = d;
  }

  Real output(Real seconds, Real setpoint, Real input, bool useLPF) {
    if (seconds <= 0 || upper <= lower) return setpoint;
    const Real error = setpoint - input;
    m_area += ki * error * seconds / (upper - lower);
    if (m_area < 0) m_area = 0;
    if (m_area > 1) m_area = 1;
    const Real rate = (input - lower - m_last * (upper - lower)) / seconds;
    m_last = (input - lower) / (upper - lower);
    Real out = setpoint + kp * error + m_area * (upper - lower) - kd * rate;
    if (useLPF) out = lower + filtered((out - lower) / (upper - lower), std::exp(Real(-0.5))) * (upper - lower);
    return out < lower ? lower : out > upper ? upper : out;
  }

  Real filtered(Real sample, Real kept) {
    for (Real& weight : m_weights) weight *= kept;
    m_samples.push_back(sample);
    m_weights.push_back(1 - kept);
    Real sum = 0;
    for (std::size_t i = 0; i < m_samples.size(); ++i) sum += m_samples[i] * m_weights[i];
    return sum;
  }

 private:
  Real m_area = 0, m_last = 0;
  std::vector<Real> m_samples, m_weights;
};

TEST_F(PIDControlTest, TrajectoriesMatchTheLawInAnotherForm) {
  std::mt19937 random(20240307);
  const auto between = [&](double low, double high) { return std::uniform_real_distribution(low, high)(random); };
  const auto oneIn = [&](int count) { return std::uniform_int_distribution(1, count)(random) == 1; };
  int inside = 0;
  for (int run = 0; run < 200; ++run) {
    PIDControl control;
    Reference reference;
    const double scale = std::pow(10, between(-3, 6));
    const auto setBounds = [&] {
      const double lower = scale * between(-1, 1);
      const double upper = lower + scale * (oneIn(10) ? between(-1, 0) : between(0.5, 1));
      control.bounds(lower, upper);
      reference.lower = lower, reference.upper = upper;
    };
    const auto setGains = [&] {
      const double kp = between(-0.5, 2), ki = oneIn(4) ? 0 : between(0, 1), kd = oneIn(2) ? 0 : between(0, 0.3);
      control.coeff(kp, ki, kd);
      reference.coeff(kp, ki, kd);
    };
    setBounds();
    setGains();
    double setpoint = 0, input = 0;
    for (int i = 0; i < 200; ++i) {
      if (oneIn(50)) setBounds();
      if (oneIn(20)) setGains();
      if (i == 0 || oneIn(20)) setpoint = static_cast<double>(reference.lower) + scale * between(-0.2, 1);
      input = setpoint + scale * between(-0.5, 0.5);
      const auto usecs = oneIn(20) ? std::int64_t(between(-1e6, 1)) : std::int64_t(between(1, 1e6));
      clock.advance(Timeval::usec(usecs));
      const Reference::Real seconds = static_cast<Reference::Real>(usecs) / 1'000'000;
      const bool useLPF = oneIn(2);
      if (usecs >= 0 && oneIn(20)) {
        const double tc = between(0.1, 2);
        const Reference::Real kept = std::exp(-seconds / static_cast<Reference::Real>(tc));
        ASSERT_NEAR(control.lowpass(0.25, tc), static_cast<double>(reference.filtered(0.25L, kept)), 1e-9);
      } else {
        const auto expected = static_cast<double>(reference.output(seconds, setpoint, input, useLPF));
        ASSERT_NEAR(control.output(setpoint, input, useLPF), expected, 1e-9 * scale) << "run " << run << " step " << i;
        inside += expected > reference.lower && expected < reference.upper && expected != setpoint;
      }
    }
  }
  EXPECT_GT(inside, 10'000) << "most of it must not rest on the bounds";
}

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
  for (const auto& [setpoint, expected] : std::vector<std::pair<double, double>>{{17.5, 17.5},
                                                                                 {10, 10},
                                                                                 {30, 30},
                                                                                 {9.99, 10},
                                                                                 {-1e300, 10},
                                                                                 {30.01, 30},
                                                                                 {1e300, 30},
                                                                                 {-INF, 10},
                                                                                 {NAN_, 10}})
    EXPECT_DOUBLE_EQ(step(1, setpoint, 12), expected) << setpoint;
  // Bounds whose difference is rounded are reached exactly all the same.
  for (const auto& [lower, upper] : std::vector<std::pair<double, double>>{{-1e16, 1}, {0.1, 0.7}, {-0.1, 1e-17}}) {
    pid.bounds(lower, upper);
    EXPECT_EQ(step(1, upper + 1e17, 0), upper);
    EXPECT_EQ(step(1, lower - 1e17, 0), lower);
    EXPECT_LE(step(1, std::nextafter(upper, lower), 0), upper);
  }
}

TEST_F(PIDControlTest, WithoutBoundsInOrderTheOutputIsTheSetpointAndNothingIsLearnt) {
  pid.coeff(2, 3, 5);
  for (const auto& [lower, upper] :
       std::vector<std::pair<double, double>>{{0, 0}, {1, -1}, {7, 7}, {0, NAN_}, {NAN_, 1}, {INF, INF}}) {
    if (lower != 0 || upper != 0) pid.bounds(lower, upper);
    for (const double setpoint : {0.0, -4.5, 1e9}) EXPECT_EQ(step(1, setpoint, 123, true), setpoint);
  }
  pid.bounds(0, 10);
  pid.coeff(0, 0.01, 1);
  // The previous input still counts as 0, the integral and the filter begin now.
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
  // A step that stands for a long time does not take it further.
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
  // A negative gain and one that is no number leave the integral as it is when they are replaced.
  EXPECT_EQ(integralAfter(-1), 0);
  EXPECT_EQ(integralAfter(0.5), 0);
}

TEST_F(PIDControlTest, GainsChangeWithoutABumpWhileTheLoopRests) {
  pid.bounds(-20, 80);
  pid.coeff(1, 0.1, 2);
  step(1, 30, 20);
  step(1, 30, 30);
  const double rest = step(1, 30, 30);
  EXPECT_DOUBLE_EQ(rest, 31) << "a tenth of 10 for a second";
  for (const auto& [kp, kd] : std::vector<std::pair<double, double>>{{50, 2}, {-3, 2}, {1, 900}, {0, 0}}) {
    pid.coeff(kp, 0.1, kd);
    EXPECT_DOUBLE_EQ(step(1, 30, 30), rest) << kp << " " << kd;
  }
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
  EXPECT_DOUBLE_EQ(pid.lowpass(5, 0), 5) << "a time constant of nothing keeps nothing, also in no time";
  EXPECT_DOUBLE_EQ(pid.lowpass(6, -1), 6);
  EXPECT_DOUBLE_EQ(pid.lowpass(7, NAN_), 7);
}

TEST_F(PIDControlTest, OneClockServesBothOperations) {
  pid.bounds(0, 1);
  pid.coeff(0, 0.1, 0);
  clock.advance(Timeval::sec(3));
  pid.lowpass(0, 1);
  EXPECT_DOUBLE_EQ(step(1, 0, -1), 0.1) << "of the four seconds, one";
  // A step that ends early takes its time with it: so a pause is left out.
  pid.bounds(0, 0);
  step(3600, 0, -1);
  pid.bounds(0, 1);
  EXPECT_DOUBLE_EQ(step(1, 0, -1), 0.2);
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

TEST_F(PIDControlTest, WhatIsNoFiniteNumberIsSurvived) {
  struct Case {
    double setpoint, input;
    double kd;
    double then, afterwards;  // this step, and the one after it
  };
  // Behind the first step the input is known to be 40, and the integral 0.1.
  for (const Case& c : std::vector<Case>{{NAN_, 40, 0, 0, 40},  // the integral is lost
                                         {INF, 40, 0, 100, 100},
                                         {-INF, 40, 0, 0, 40},
                                         {40, NAN_, 0, 0, 0},
                                         {40, INF, 0, 0, 0},
                                         {40, -INF, 0, 0, 0},
                                         {40, NAN_, 1, 0, 0},
                                         {40, INF, 1, 0, 100},
                                         {40, -INF, 1, 100, 0},
                                         {NAN_, NAN_, 1, 0, 0}})
    for (const bool useLPF : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.setpoint << " " << c.input << " " << c.kd << " " << useLPF);
      PIDControl control;
      const auto next = [&](double setpoint, double input) {
        clock.advance(Timeval::sec(1));
        return control.output(setpoint, input, useLPF);
      };
      control.bounds(0, 100);
      next(40, 40);
      control.coeff(1, 1, 0);
      next(50, 40);
      control.coeff(1, 1, c.kd);
      const double then = next(c.setpoint, c.input), afterwards = next(40, 40);
      EXPECT_EQ(then, c.then);
      if (!useLPF) {
        EXPECT_NEAR(afterwards, c.afterwards, 1e-9);
      }
      // The third step and all that follow are sound again; the filter has begun anew.
      for (int i = 0; i < 40; ++i) next(40, 40);
      const double settled = next(40, 40);
      EXPECT_TRUE(settled >= 40 && settled <= 100) << settled;
      EXPECT_NEAR(next(40, 40), settled, 1e-6);
    }
  for (const double odd : {NAN_, INF, -INF}) {
    PIDControl control;
    control.bounds(0, 100);
    for (int i = 0; i < 3; ++i) {
      control.coeff(i == 0 ? odd : 0, i == 1 ? odd : 0, i == 2 ? odd : 0);
      clock.advance(Timeval::sec(1));
      const double output = control.output(40, 30, true);
      EXPECT_TRUE(output >= 0 && output <= 100) << output;
    }
    control.coeff(0, 0, 0);
    for (int i = 0; i < 3; ++i) {
      clock.advance(Timeval::sec(1));
      EXPECT_DOUBLE_EQ(control.output(40, 30, false), 40);
    }
  }
}

TEST_F(PIDControlTest, EveryOperationCanBeOverridden) {
  struct Inverted : PIDControl {
    double output(double setpoint, double input, bool useLPF) override {
      return 100 - PIDControl::output(setpoint, input, useLPF);
    }
    double lowpass(double value, double tc) override { return -PIDControl::lowpass(value, tc); }
    void coeff(double kp, double ki, double kd) override { PIDControl::coeff(-kp, ki, kd); }
    void bounds(double lower, double upper) override { PIDControl::bounds(lower, 2 * upper); }
  };
  const std::unique_ptr<PIDControl> control = std::make_unique<Inverted>();
  control->bounds(0, 50);
  control->coeff(1, 0, 0);
  clock.advance(Timeval::sec(1));
  EXPECT_DOUBLE_EQ(control->output(60, 70, false), 100 - (60 + 10));
  EXPECT_EQ(control->lowpass(8, 0), -8);
}

TEST(PIDControlDeathTest, AClockBeyondItsRangeIsFatal) {
  ManualClock clock(Timeval::nsec(std::numeric_limits<std::int64_t>::min()));
  PIDControl control;
  clock.set(Timeval::nsec(std::numeric_limits<std::int64_t>::max()));
  EXPECT_DEATH(control.output(1, 2, false), "fatal: overflow in a 64-bit subtraction");
  EXPECT_DEATH(control.lowpass(1, 2), "fatal: overflow in a 64-bit subtraction");
}

}  // namespace
}  // namespace corvane
