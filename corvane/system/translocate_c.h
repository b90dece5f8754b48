#pragma once

/** The original place of a relocated application, for C (C11 and later) and C++ callers. */

#include "corvane/platform/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The path of the original of a file that the platform has relocated, as a new text that the caller releases with
 *  free(); null if the file at `path` has not been relocated or `path` is null. Always null on Linux, which does not
 *  relocate anything. Any thread. */
CORVANE_API char* getUnTranslocatedURL(const char* path);

#ifdef __cplusplus
}
#endif
