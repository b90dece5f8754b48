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
/// Setpoint, input and output share the scale of the bounds, which the control law maps to 0..1 (r and y below):
///
///     output = r + kp·(r − y) + ki·∫(r − y)dt − kd·dy/dt    limited to 0..1
///
/// - The setpoint itself is the feed-forward: without gains, the output follows the setpoint within the bounds.
/// - The derivative is that of the input, so a step of the setpoint does not kick the output.
/// - The integral is kept within 0..1, which prevents windup. It can therefore only add to the feed-forward.
/// - The time of a step is the time since the last call of output() or lowpass(), or since the controller was created,
///   in whole microseconds of the real-time clock.
///
/// There is no reset. The input before the first step counts as 0 (the lower bound): to avoid a derivative from that
/// value, make the first step before coeff(). docs/pid.md has the mathematics and advice on choosing gains.
///
/// No lock: one caller at a time. A derived class may override every operation.
class CORVANE_API PIDControl {
 public:
  /// No gains and no bounds: output() returns the setpoint until bounds() is called.
  PIDControl();
  virtual ~PIDControl();

  PIDControl(const PIDControl&) = delete;
  PIDControl& operator=(const PIDControl&) = delete;

  /// The output's filter alone, on any value: the weighted mean of the values so far under the time constant `tc`
  /// (seconds). If the clock went backwards since the last call, it returns `value` itself and the filter is unchanged;
  /// if no time has passed, the value has no weight. The filter starts at 0 and is shared with output(), so use a
  /// separate controller to filter readings.
  virtual double lowpass(double value, double tc);

  /// Sets the gains: `kp` without unit, `ki` per second, `kd` in seconds. If ki was positive and changes, the integral
  /// is scaled as if the new ki had always been in force: twice the ki gives twice the integral, and a ki of 0 clears
  /// it. So a change of ki changes the output at once; a change of kp does not while input and setpoint agree, nor does
  /// a change of kd while the input is constant.
  virtual void coeff(double kp, double ki, double kd);

  /// Sets the bounds. If the upper bound is not above the lower one, the controller is off: output() returns the
  /// setpoint.
  virtual void bounds(double lower, double upper);

  /// Makes one step and returns the new output. With `useLPF` it is the mean of the latest outputs under a time
  /// constant of two steps; that filter starts at the lower bound.
  ///
  /// Returns the setpoint, and updates only the time, if no whole microsecond has passed, the clock went backwards, or
  /// the upper bound is not above the lower one. Returns the lower bound if the result is not a number: an input that
  /// is not a number, or is infinite, spoils that step, the next one, and the integral.
  virtual double output(double setpoint, double input, bool useLPF);

 private:
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
