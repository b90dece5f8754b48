#pragma once

/** A lock with one condition, as an opaque pointer, for C (C11 or later) callers. C++ code uses corvane/core/Mutex.h.
 *  The lock is not recursive. Any thread may call any function; passing anything but a pointer from ptlock_init that
 *  was not destroyed is undefined, except where null is allowed. */

#include <stdint.h>

#include "corvane/platform/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifndef __cplusplus
/** The time limit that stands for no limit, as any negative number of microseconds does. */
enum { COND_WAIT_FOREVER = -1 };
#endif

/** A new, unlocked lock. Never null: a failed allocation ends the process. */
CORVANE_API void* ptlock_init(void);

/** Destroys an unlocked lock; null is ignored. */
CORVANE_API void ptlock_destroy(void* lock);

/** Locks; returns pthread_mutex_lock's code, 0 on success. */
CORVANE_API int ptlock_acquire(void* lock);

/** Unlocks; returns pthread_mutex_unlock's code, 0 on success. */
CORVANE_API int ptlock_release(void* lock);

/** With the lock held: waits for ptlock_broadcast for at most `usec` microseconds of the real-time clock; negative:
 *  without limit. Returns -1 if the time ran out, 0 otherwise. Wake-ups without a broadcast are possible. */
CORVANE_API int ptlock_wait(void* lock, int64_t usec);

/** Wakes every waiter; returns pthread_cond_broadcast's code, 0 on success. */
CORVANE_API int ptlock_broadcast(void* lock);

#ifdef __cplusplus
}
#endif
