#define _XOPEN_SOURCE 700

#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include "corvane/core/ptlock_c.h"
#include "corvane/core/timeval_c.h"

#define CHECK(condition) \
  if (!(condition)) return __LINE__

static int is(struct timeval tv, long long sec, long long usec) {
  return tv.tv_sec == sec && tv.tv_usec == usec;
}

static struct timeval pair(long long sec, int usec) {
  struct timeval tv = {sec, usec};
  return tv;
}

/* Calls every C function of the core and returns the line of the first check that fails, 0 if all hold. */
int checkCApi(void) {
  struct timeval now;
  gettimeofday(&now, NULL);
  const int64_t elapsed = elapsed_usec(time_sub(now, pair(2, 0)));
  CHECK(elapsed >= 2000000 && elapsed < 60000000);

  CHECK(is(time_add(pair(1, 600000), pair(0, 600000)), 2, 200000));
  CHECK(is(time_sub(pair(5, 100), pair(3, 200)), 1, 999900));
  CHECK(is(time_sub(pair(0, 0), pair(0, 1)), -1, 999999));
  CHECK(is(time_add_usec(pair(1, 999999), 1), 2, 0));
  CHECK(is(time_add_usec(pair(1, 0), -2500000), -2, 500000));

  setenv("TZ", "UTC", 1);
  tzset();
  struct timeval tv = {7, 7};
  static const struct {
    const char* text;
    int result;
    long long sec;
    long usec;
  } stamps[] = {
      {"2020-01-02 03:04:05", 0, 1577934245, 0},
      {"2020-01-02 03:04:05 .25", 0, 1577934245, 0},
      {"2020-01-02 03:04:05x", -1, 1577934245, 0},
      {"2020-01-02 03:04:05.000123", 0, 1577934245, 123},
      {"2020-01-02 03:04:05.1234567", 0, 1577934245, 123456},
      {"2020-01-02 03:04:05.7z", 0, 1577934245, 700000},
      {"not a date", -1, 7, 7},
  };
  for (size_t i = 0; i < sizeof stamps / sizeof *stamps; ++i) {
    tv = pair(7, 7);
    CHECK(timestamp_tv("%Y-%m-%d %H:%M:%S", stamps[i].text, &tv) == stamps[i].result);
    CHECK(is(tv, stamps[i].sec, stamps[i].usec));
  }

  CHECK(iso8601_to_timeval("2021-06-01T12:00:00.123456Z", &tv) == 0 && is(tv, 1622548800, 123456000));
  tv = pair(7, 7);
  CHECK(iso8601_to_timeval("2021-06-01T12:00:00Z", &tv) == -1 && is(tv, 7, 7));

  CHECK(memsize() == (int64_t)sysconf(_SC_PHYS_PAGES) * sysconf(_SC_PAGESIZE));

  ptlock_destroy(NULL);
  void* lock = ptlock_init();
  CHECK(lock != NULL);
  CHECK(ptlock_acquire(lock) == 0);
  CHECK(ptlock_wait(lock, 2000) == -1);
  CHECK(ptlock_broadcast(lock) == 0);
  CHECK(ptlock_release(lock) == 0);
  ptlock_destroy(lock);
  return 0;
}
