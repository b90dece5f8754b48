#include "corvane/core/Timeval.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <limits>

#include "corvane/core/timeval_c.h"
#include "corvane/testing/ManualClock.h"

namespace corvane {
namespace {

constexpr std::int64_t MAX = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t MIN = std::numeric_limits<std::int64_t>::min();

// 2024-03-07 09:05:01.000123 UTC
constexpr Timeval MOMENT = Timeval::nsec(1'709'802'301'000'123'456);

struct TimevalText : testing::Test {
  TimevalText() { zone("UTC"); }
  static void zone(const char* name) {
    setenv("TZ", name, 1);
    tzset();
  }
};

TEST(Timeval, IsTheRealTimeClock) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const Timeval time;
  EXPECT_GE(time, Timeval(now));
  EXPECT_LT(time, Timeval(now) + 10.0);
  EXPECT_EQ(Timeval::sec(3).nsec(), 3'000'000'000);
  EXPECT_EQ(Timeval::usec(-7).nsec(), -7'000);
  EXPECT_EQ(Timeval(timespec{2, 5}).nsec(), 2'000'000'005);
  EXPECT_EQ(Timeval(timeval{2, 5}).nsec(), 2'000'005'000);
  EXPECT_EQ(Timeval::iso8601_utc("2021-06-01T12:34:56.250Z").nsec(), 1'622'550'896'250'000'000);
}

TEST(Timeval, ViewsTruncateTowardZero) {
  constexpr Timeval below = Timeval::nsec(-1'500);
  EXPECT_EQ(below.usec(), -1);
  EXPECT_EQ(below.msec(), 0);
  EXPECT_EQ(below.sec(), 0);
  EXPECT_EQ(below.ts().tv_nsec, -1'500);
  constexpr Timeval time = Timeval::nsec(1'999'999'999);
  EXPECT_EQ(time.msec(), 1'999);
  EXPECT_EQ(time.tv().tv_sec, 1);
  EXPECT_EQ(time.tv().tv_usec, 999'999);
  EXPECT_EQ(time.ts().tv_nsec, 999'999'999);
  Timeval changed = time;
  changed.setTv({2, 5});
  EXPECT_EQ(changed.nsec(), 2'000'005'000);
  changed.setTs({3, 7});
  EXPECT_EQ(changed.nsec(), 3'000'000'007);
  changed.changeTv([](timeval& tv) { tv.tv_usec = 9; });
  EXPECT_EQ(changed.nsec(), 3'000'009'000);
  changed.changeTs([](timespec& ts) { ts.tv_sec = -1; });
  EXPECT_EQ(changed.nsec(), -999'991'000);
}

TEST(Timeval, IntegersAreMicrosecondsAndDoublesSeconds) {
  constexpr Timeval second = Timeval::sec(1);
  EXPECT_EQ((second + 500).nsec(), 1'000'500'000);
  EXPECT_EQ((second + 500U).nsec(), 1'000'500'000);
  EXPECT_EQ((second + 0.5).nsec(), 1'500'000'000);
  EXPECT_EQ((second + 1.9e-9).nsec(), 1'000'000'001);
  EXPECT_EQ((second + -1.9e-9).nsec(), 999'999'999);
  EXPECT_EQ((second + Timeval::nsec(1)).nsec(), 1'000'000'001);
  EXPECT_EQ((second - Timeval::sec(3)).nsec(), -2'000'000'000);
  Timeval sum = second;
  sum += 2;
  EXPECT_EQ(sum.nsec(), 1'000'002'000);
  EXPECT_LT(second, sum);
}

template <class Number>
constexpr bool CONVERTS = requires(Number number) { Timeval::sec(number); };
static_assert(CONVERTS<int> && !CONVERTS<double>, "fractions of a second are not dropped silently");

TEST(TimevalDeathTest, OverflowIsFatal) {
  EXPECT_DEATH(Timeval::sec(MAX), "fatal: overflow in a 64-bit multiplication");
  EXPECT_DEATH(Timeval::nsec(MAX) + Timeval::nsec(1), "fatal: overflow in a 64-bit addition");
  EXPECT_DEATH(Timeval::nsec(MIN) - Timeval::nsec(1), "fatal: overflow in a 64-bit subtraction");
  EXPECT_DEATH(Timeval::usec(std::numeric_limits<std::uint64_t>::max()), "fatal: .*does not fit");
  for (const double number : {std::numeric_limits<double>::quiet_NaN(), 9.3e9})
    EXPECT_DEATH(Timeval::nsec(0) + number, "fatal: .*not finite or out of range");
}

TEST(Timeval, ElapsedCountsFromTheValueToNow) {
  ManualClock clock(Timeval::sec(100));
  const Timeval begin;
  clock.advance(Timeval::nsec(1'999));
  EXPECT_EQ(begin.elapsed_nsec(), 1'999);
  EXPECT_EQ(begin.elapsed(), 1);
  EXPECT_EQ(Timeval::sec(101).elapsed(), -999'998);
  EXPECT_EQ(elapsed_usec({99, 999'999}), 2);
}

TEST_F(TimevalText, TimestampsAreLocalWithMicroseconds) {
  EXPECT_EQ(MOMENT.timestamp(), "2024/03/07 09:05:01.000123");
  EXPECT_EQ(MOMENT.localtime(), "09:05:01.000123");
  EXPECT_EQ(Timeval::nsec(-1'500).timestamp(), "1969/12/31 23:59:59.999998");
  EXPECT_EQ(Timeval::nsec(MAX).timestamp(), "2262/04/11 23:47:16.854775");
  zone("Asia/Tokyo");
  EXPECT_EQ(MOMENT.timestamp(), "2024/03/07 18:05:01.000123");
}

TEST_F(TimevalText, DatesAreInTheMediumStyleOfTheUsersLocale) {
  const struct {
    const char* locale;
    const char* zone;
    const char* text;
  } rows[] = {
      {"en_US.UTF-8", "UTC", "Mar 7, 2024, 9:05:01\u202fAM"},
      {"de_DE.UTF-8", "Europe/Berlin", "07.03.2024, 10:05:01"},
      {"C.UTF-8", "UTC", "Mar 7, 2024, 9:05:01\u202fAM"},
      {"ja_JP.UTF-8", "JST-9", "2024/03/07 18:05:01"},
      {"en_GB.UTF-8", "GMT+3", "7 Mar 2024, 06:05:01"},
      {"fr_FR", ":/usr/share/zoneinfo/Asia/Tokyo", "7 mars 2024, 18:05:01"},
  };
  for (const auto& row : rows) {
    setenv("LC_ALL", row.locale, 1);
    zone(row.zone);
    std::string text = MOMENT.date();
    // Releases of the locale data differ in which space they put before AM.
    if (const auto at = text.find(" AM"); at != std::string::npos) text.replace(at, 1, "\u202f");
    EXPECT_EQ(text, row.text) << row.locale;
  }
}

TEST_F(TimevalText, DurationsHaveUnboundedHours) {
  ManualClock clock(Timeval::sec(1'000'000));
  const struct {
    double ago;
    const char* text;
  } rows[] = {{0, "0:00:00"},    {59.999, "0:00:59"},    {3'661, "1:01:01"},    {360'000, "100:00:00"},
              {-0.5, "0:00:00"}, {-3'661.5, "-1:01:01"}, {999'999, "277:46:39"}};
  for (const auto& row : rows) EXPECT_EQ((Timeval() + -row.ago).hhmmss(), row.text);
}

TEST_F(TimevalText, TztimeRestoresTheZone) {
  EXPECT_EQ(MOMENT.tztime("America/New_York"), "Thu Mar  7 04:05:01 2024");
  EXPECT_STREQ(getenv("TZ"), "UTC");
  unsetenv("TZ");
  tzset();
  EXPECT_EQ(MOMENT.tztime("Asia/Tokyo"), "Thu Mar  7 18:05:01 2024");
  EXPECT_EQ(getenv("TZ"), nullptr);
}

}  // namespace
}  // namespace corvane
