#pragma once

#include <sys/time.h>
#include <time.h>

#include <compare>
#include <concepts>
#include <cstdint>
#include <string>

#include "corvane/core/Checked.h"
#include "corvane/core/Clock.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// A point in time (nanoseconds since 1970-01-01 00:00 UTC on the real-time clock) or a duration: a signed 64-bit count
/// of nanoseconds, about ±292 years.
///
/// A conversion or sum that leaves that range is fatal. Views in coarser units truncate toward zero: −1,500 ns is −1
/// µs. A plain value: copy it freely; reading one value from several threads is safe.
///
///     Timeval begin;                         // now
///     work();
///     auto spent = begin.elapsed();          // microseconds
///     auto deadline = Timeval() + 2.5;       // floating point: seconds
///     auto soon = Timeval() + 500;           // integer: microseconds
class Timeval {
 public:
  /// Now.
  Timeval() : m_nsecs(Clock::now()) {}

  /// The same value; overflow is fatal.
  explicit constexpr Timeval(const timespec& ts)
      : m_nsecs(checkedAdd(checkedMul(ts.tv_sec, NSEC_PER_SEC), ts.tv_nsec)) {}
  explicit constexpr Timeval(const timeval& tv)
      : m_nsecs(checkedAdd(checkedMul(tv.tv_sec, NSEC_PER_SEC), checkedMul(tv.tv_usec, NSEC_PER_USEC))) {}

  /// From an integer; `Timeval::sec(1.5)` does not compile. (To use floating-point seconds, add them to a value.)
  static constexpr Timeval nsec(std::integral auto count) { return Timeval(checkedInt64(count)); }
  static constexpr Timeval usec(std::integral auto count) {
    return Timeval(checkedMul(checkedInt64(count), NSEC_PER_USEC));
  }
  static constexpr Timeval sec(std::integral auto count) {
    return Timeval(checkedMul(checkedInt64(count), NSEC_PER_SEC));
  }

  /// Parses YYYY-MM-DDTHH:MM:SS.mmmZ (see iso8601_to_timeval); any other text gives the epoch, 0.
  CORVANE_API static Timeval iso8601_utc(const std::string& text);

  /// The whole value in this unit, fractions dropped.
  constexpr std::int64_t nsec() const { return m_nsecs; }
  constexpr std::int64_t usec() const { return m_nsecs / NSEC_PER_USEC; }
  constexpr std::int64_t msec() const { return m_nsecs / 1'000'000; }
  constexpr std::int64_t sec() const { return m_nsecs / NSEC_PER_SEC; }

  /// Microseconds from this value to now.
  std::int64_t elapsed() const { return elapsed_nsec() / NSEC_PER_USEC; }
  /// Nanoseconds from this value to now.
  std::int64_t elapsed_nsec() const { return checkedSub(Clock::now(), m_nsecs); }

  /// The value as a timespec; both parts have the sign of the value.
  constexpr timespec ts() const { return {m_nsecs / NSEC_PER_SEC, m_nsecs % NSEC_PER_SEC}; }
  constexpr void setTs(const timespec& ts) { *this = Timeval(ts); }

  /// The value as a timeval; fractions of a microsecond are dropped.
  constexpr timeval tv() const { return {m_nsecs / NSEC_PER_SEC, m_nsecs % NSEC_PER_SEC / NSEC_PER_USEC}; }
  constexpr void setTv(const timeval& tv) { *this = Timeval(tv); }

  /// Changes members of the timeval in place: `t.changeTv([](timeval& tv) { tv.tv_usec = 0; })`.
  template <class Change>
  constexpr void changeTs(Change&& change) {
    timespec view = ts();
    change(view);
    setTs(view);
  }
  template <class Change>
  /// The same for the value as a timeval.
  constexpr void changeTv(Change&& change) {
    timeval view = tv();
    change(view);
    setTv(view);
  }

  /// Local date and time with microseconds: "2024/03/07 09:05:01.000123"; years below 1000 are padded with blanks.
  CORVANE_API std::string timestamp() const;

  /// Local time of day with microseconds: "09:05:01.000123".
  CORVANE_API std::string localtime() const;

  /// The time from this value to now as H:MM:SS: minutes and seconds with two digits, hours with as many as needed,
  /// preceded by a minus sign if this value lies ahead by a second or more.
  CORVANE_API std::string hhmmss() const;

  /// Date and time of day in the medium style of the user's locale (LC_ALL, LC_TIME, LANG) and time zone, without
  /// fractions: "Mar 7, 2024, 9:05:01 AM".
  CORVANE_API std::string date() const;

  /// Date and time in the named time zone, formatted as by ctime(3) but without the line break: "Thu Mar  7 09:05:01
  /// 2024". Sets the environment variable TZ for the duration of the call and then restores it: do not call this while
  /// another thread formats local times or reads TZ.
  CORVANE_API std::string tztime(const std::string& zone) const;

  friend constexpr Timeval operator+(Timeval a, Timeval b) { return Timeval(checkedAdd(a.m_nsecs, b.m_nsecs)); }
  friend constexpr Timeval operator-(Timeval a, Timeval b) { return Timeval(checkedSub(a.m_nsecs, b.m_nsecs)); }

  /// Integers are microseconds.
  template <std::integral Integer>
  friend constexpr Timeval operator+(Timeval a, Integer usecs) {
    return a + usec(checkedInt64(usecs));
  }
  template <std::integral Integer>
  /// Adds microseconds to this value.
  constexpr Timeval& operator+=(Integer usecs) {
    return *this = *this + usecs;
  }

  /// Floating-point numbers are seconds, truncated to whole nanoseconds; a number that is not finite or is out of range
  /// is fatal.
  friend constexpr Timeval operator+(Timeval a, double seconds) { return a + nsec(checkedInt64(seconds * 1e9)); }

  friend constexpr auto operator<=>(Timeval a, Timeval b) = default;

 private:
  static constexpr std::int64_t NSEC_PER_USEC = 1'000;
  static constexpr std::int64_t NSEC_PER_SEC = 1'000'000'000;

  explicit constexpr Timeval(std::int64_t nsecs) : m_nsecs(nsecs) {}

  std::int64_t m_nsecs;
};

}  // namespace corvane
