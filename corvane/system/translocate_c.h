#pragma once

/** Where the platform has an application from, for C (C11 and later) and C++ callers. */

#include "corvane/platform/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The path of the original of a file that the platform has relocated, as a new text that the caller gives to free();
 *  null if the file at `path` is in its own place, and for a null `path`. On Linux, which relocates nothing, always
 *  null. Any thread. */
CORVANE_API char* getUnTranslocatedURL(const char* path);

#ifdef __cplusplus
}
#endif
