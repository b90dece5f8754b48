#pragma once

#include "corvane/core/Timeval.h"
#include "corvane/core/WeightedStats.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// A PID controller: turns a setpoint and a measured input into an output within bounds.
///
///     corvane::PIDControl fan;
///     fan.bounds(800, 4200);                                // revolutions a minute
///     fan.coeff(0.5, 0.2, 0);
///     setSpeed(fan.output(wantedSpeed, measuredSpeed, true));  // again and again, at any rate
///
/// Setpoint, input and output share one scale, that of the bounds, and the law works on it as 0..1 (r and y below):
///
///     output = r + kp·(r − y) + ki·∫(r − y)dt − kd·dy/dt    limited to 0..1
///
/// - The setpoint itself is the feed-forward: without gains the output follows the setpoint within the bounds.
/// - The derivative is that of the input, so a step of the setpoint does not kick the output.
/// - The integral is kept within 0..1, which ends its windup. It can therefore only add to the feed-forward.
/// - The time of a step is what has passed since the last call of output() or lowpass(), in whole microseconds of the
///   real-time clock; for the first call, since the controller was made.
///
/// There is no reset. The input before the first step counts as 0 (the lower bound): to begin without a derivative of
/// that, make the first step before coeff(). docs/pid.md has the mathematics and advice on choosing gains.
///
/// No lock: one caller at a time. A class of its own may override every operation.
class CORVANE_API PIDControl {
 public:
  /// No gains and no bounds: output() gives the setpoint back until bounds() has set some.
  PIDControl();
  virtual ~PIDControl();

  PIDControl(const PIDControl&) = delete;
  PIDControl& operator=(const PIDControl&) = delete;

  /// The output's filter alone, on any value: the weighted mean of the values so far under the time constant `tc`
  /// (seconds). If the clock went backwards since the last call, `value` itself, and the filter stays as it is; if no
  /// time has passed, the value has no weight. The filter begins at 0 and is the one that output() uses, so a
  /// controller that filters readings should do nothing else.
  virtual double lowpass(double value, double tc);

  /// Sets the gains: `kp` without unit, `ki` per second, `kd` in seconds. If ki was positive and changes, the integral
  /// becomes what it were if the new ki had been in force all along: twice the ki, twice the integral, and with 0 it is
  /// gone. So the output changes with ki at once; it does not change with kp while input and setpoint agree, nor with
  /// kd while the input rests.
  virtual void coeff(double kp, double ki, double kd);

  /// Sets the bounds. An upper one that does not lie above the lower one turns the controller off: output() gives the
  /// setpoint back.
  virtual void bounds(double lower, double upper);

  /// One step: the new output. With `useLPF` it is the mean of the latest outputs under a time constant of two steps;
  /// that filter begins at the lower bound.
  ///
  /// The setpoint itself, with nothing but the time moved on, if no whole microsecond has passed, the clock went
  /// backwards, or the bounds are not in order. The lower bound if the result is not a number: a reading that is not
  /// one (or infinite) costs that step, the next one, and the integral.
  virtual double output(double setpoint, double input, bool useLPF);

 private:
  double elapsedSeconds();

  double m_kp = 0;
  double m_ki = 0;
  double m_kd = 0;
  double m_lower = 0;
  double m_upper = 0;
  Timeval m_prev_time;
  double m_prev_input = 0;
  double m_integral = 0;
  WeightedStats m_lpf;
};

}  // namespace corvane
