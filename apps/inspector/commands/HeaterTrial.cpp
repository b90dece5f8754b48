#include "apps/inspector/commands/HeaterTrial.h"

#include <cmath>
#include <cstdint>
#include <deque>

#include "corvane/algorithms/PIDControl.h"
#include "corvane/core/Clock.h"

namespace corvane::inspector {

namespace {

class Heater {
 public:
  explicit Heater(double temperature)
      : m_temperature(temperature), m_pipe(static_cast<std::size_t>(HeaterTrial::DELAY / HeaterTrial::STEP)) {}

  double temperature() const { return m_temperature; }

  /// Simulates one step of time at this power.
  void run(double power, double room) {
    m_pipe.push_back(power);
    const double goal = room + HeaterTrial::GAIN * m_pipe.front();
    m_pipe.pop_front();
    m_temperature += (goal - m_temperature) * -std::expm1(-HeaterTrial::STEP / HeaterTrial::LAG);
  }

 private:
  double m_temperature;
  std::deque<double> m_pipe;  // the power that has not taken effect yet
};

// Time that passes only with the trial's steps.
struct SimulatedTime {
  SimulatedTime() { Clock::setManual(0); }
  ~SimulatedTime() { Clock::endManual(); }
  SimulatedTime(const SimulatedTime&) = delete;
  SimulatedTime& operator=(const SimulatedTime&) = delete;

  static void pass() { Clock::advanceManual(static_cast<std::int64_t>(HeaterTrial::STEP * 1e9)); }
};

// Converts from the form with times to the one with three gains.
Tuning withTimes(std::string name, double gain, double integralTime, double derivativeTime) {
  return {std::move(name), gain, gain / integralTime, gain * derivativeTime};
}

}  // namespace

std::vector<HeaterTrial::Sample> HeaterTrial::run(const Tuning& tuning) {
  const SimulatedTime clock;
  Heater heater(20);
  PIDControl control;
  control.bounds(0, 100);  // percent, and °C
  std::vector<Sample> samples;
  for (double time = 0; time <= END; time += STEP) {
    const double setpoint = time < SETPOINT_CHANGE ? 60 : 50;
    SimulatedTime::pass();
    // Initially without gains, so that the derivative starts at the current temperature.
    if (samples.empty()) {
      control.output(setpoint, heater.temperature(), false);
      control.coeff(tuning.kp, tuning.ki, tuning.kd);
      SimulatedTime::pass();
    }
    const double power = control.output(setpoint, heater.temperature(), true);
    samples.push_back({time, setpoint, heater.temperature(), power});
    heater.run(power, time < ROOM_CHANGE ? 20 : 12);
  }
  return samples;
}

std::vector<Tuning> HeaterTrial::tunings() {
  const double slope = GAIN * DELAY / LAG;  // the shortfall of the step response during its delay
  return {{"Proportional", 3, 0, 0},
          withTimes("AMIGO", (0.2 + 0.45 * LAG / DELAY) / GAIN, DELAY * (0.4 * DELAY + 0.8 * LAG) / (DELAY + 0.1 * LAG),
                    0.5 * DELAY * LAG / (0.3 * DELAY + LAG)),
          withTimes("Ziegler–Nichols", 1.2 / slope, 2 * DELAY, 0.5 * DELAY)};
}

}  // namespace corvane::inspector
