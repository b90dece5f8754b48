#pragma once

#include <string>
#include <vector>

namespace corvane::inspector {

/// The gains of a PIDControl, and the name of the rule that they follow.
struct Tuning {
  std::string name;
  double kp, ki, kd;
};

/// A heater under a PIDControl: some minutes of simulated time, with a cold start, a lower setpoint at SETPOINT_CHANGE,
/// and a room that gets colder at ROOM_CHANGE.
///
/// The heater responds after DELAY, and approaches its final temperature with the time constant LAG. At full power that
/// is 100·GAIN kelvin above the room.
struct HeaterTrial {
  static constexpr double STEP = 1, END = 1000, SETPOINT_CHANGE = 350, ROOM_CHANGE = 700;  ///< seconds
  static constexpr double DELAY = 10, LAG = 60;                                            ///< seconds
  static constexpr double GAIN = 0.5;                                                      ///< kelvin per percent

  struct Sample {
    double time;         ///< seconds
    double setpoint;     ///< °C
    double temperature;  ///< °C
    double power;        ///< percent
  };

  /// Runs a trial. Meanwhile Timeval() reads a simulated clock in the whole process.
  static std::vector<Sample> run(const Tuning& tuning);

  /// A proportional controller, and the rules of Åström and Hägglund and of Ziegler and Nichols for this heater.
  static std::vector<Tuning> tunings();
};

}  // namespace corvane::inspector
