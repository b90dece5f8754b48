#include "corvane/algorithms/PIDControl.h"

#include <algorithm>
#include <cstdint>

namespace corvane {

namespace {

// The seconds, in whole microseconds, since a time, which becomes now.
double elapsedSeconds(Timeval& since) {
  const std::int64_t usec = since.elapsed();
  since = Timeval();  // read separately: the gap between the two is not part of any step
  return static_cast<double>(usec) / 1'000'000.0;
}

}  // namespace

PIDControl::PIDControl() = default;
PIDControl::~PIDControl() = default;

double PIDControl::lowpass(double value, double tc) {
  const double dt = elapsedSeconds(m_prev_time);
  if (dt < 0) return value;
  m_lpf.update(value, tc, dt);
  return m_lpf.smoothed;
}

void PIDControl::coeff(double kp, double ki, double kd) {
  if (ki != m_ki && m_ki > 0) m_integral *= ki / m_ki;
  m_kp = kp;
  m_ki = ki;
  m_kd = kd;
}

void PIDControl::bounds(double lower, double upper) {
  m_lower = lower;
  m_upper = upper;
}

// The comparisons are written so that NaN fails them.
double PIDControl::output(double setpoint, double input, bool useLPF) {
  const double dt = elapsedSeconds(m_prev_time);
  if (!(dt > 0)) return setpoint;
  const double range = m_upper - m_lower;
  if (!(range > 0)) return setpoint;
  const double in = (input - m_lower) / range;
  const double sp = (setpoint - m_lower) / range;

  const double derivative = m_kd * (in - m_prev_input) / dt;
  m_prev_input = in;
  const double error = sp - in;
  const double integral = m_integral + m_ki * error * dt;
  m_integral = integral > 0 ? std::min(integral, 1.0) : 0.0;
  double out = sp + m_kp * error + m_integral - derivative;
  if (useLPF) {
    m_lpf.fold(out, WeightedStats::weight(2, 1));  // the same whatever dt is
    out = m_lpf.smoothed;
  }

  if (!(out > 0)) return m_lower;
  if (out >= 1) return m_upper;  // exactly, where the sum below may be rounded
  return m_lower + out * range;
}

}  // namespace corvane
