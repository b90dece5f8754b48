#pragma once

/** Arithmetic and parsing on the classic `timeval` pair, for C (C11 or later) and C++ callers. C++ code that has the
 *  choice uses corvane/core/Timeval.h. Every function may be called from any thread. */

#include <stdint.h>
#include <sys/time.h>

#include "corvane/platform/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Microseconds from t to now, negative if t lies ahead. */
CORVANE_API int64_t elapsed_usec(struct timeval t);

/** a + b. The microseconds of the result are 0 … 999,999 if those of the inputs are within one second. They are added
 *  in 32 bits: a sum beyond ±2,147,483,647 µs wraps, even where tv_usec has 64 bits. An overflow of the seconds ends
 *  the process. */
CORVANE_API struct timeval time_add(struct timeval a, struct timeval b);

/** a + u microseconds, with the limits and the normalisation of time_add. */
CORVANE_API struct timeval time_add_usec(struct timeval a, int32_t u);

/** a - b, with the limits and the normalisation of time_add. */
CORVANE_API struct timeval time_sub(struct timeval a, struct timeval b);

/** Parses `text` with strptime(3) under `format`, as local time, then an optional fraction: "." and decimal digits,
 *  of which the first six count. The text must end after the seconds (white space may follow), or may continue after
 *  the fraction. Returns 0 and fills *tv, or -1: *tv is untouched if `format` did not match, and holds the whole
 * seconds if something other than a fraction followed. */
CORVANE_API int timestamp_tv(const char* format, const char* text, struct timeval* tv);

/** Parses YYYY-MM-DDTHH:MM:SS.mmmZ as UTC. The fraction is required and is read as a whole number of milliseconds
 *  whatever its digits: ".5" is 5 ms. Returns 0 and fills *tv, or -1 and leaves *tv untouched. */
CORVANE_API int iso8601_to_timeval(const char* text, struct timeval* tv);

/** The machine's physical memory in bytes; 0 if it cannot be read. */
CORVANE_API int64_t memsize(void);

#ifdef __cplusplus
}
#endif
