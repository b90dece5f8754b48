#pragma once

/** A snapshot of the process table, for C (C11 and later) and C++.
 *
 *      proclist_t list;
 *      if (proclist_create(&list) == 0)
 *        for (int32_t i = 0; i < list.count; ++i)
 *          printf("%d %s\n", proclist_pid(&list, i), list.procs[i].kp_proc.p_comm);
 *      proclist_dispose(&list);
 *
 *  Lists are independent of each other; a list must not be used by one thread while another creates or disposes of
 *  it. */

#include <stdint.h>

#include "corvane/platform/Export.h"
#include "corvane/system/procinfo/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A snapshot. Dispose of it when it is no longer needed. */
typedef struct proclist_t {
  int32_t count;            /**< number of records */
  struct kinfo_proc* procs; /**< ascending by kp_proc.p_pid; null in an empty or disposed list */
} proclist_t;

/** Takes a snapshot. The previous contents of the list are overwritten, not freed: call proclist_dispose first. Returns
 *  0, or -1 if the list is null, memory runs out or the system refuses; the list is then empty. Processes that end
 *  meanwhile are omitted.
 *
 *  On Linux a process is marked P_TRANSLATED if its executable is a user-mode emulator (those of QEMU, box64 and box86,
 *  FEX, Rosetta) for a machine other than the kernel's, and this user may inspect it. Emulators started by the kernel
 *  for their guests are found if binfmt_misc is mounted; in a container without it, only those that were started by
 *  name. */
CORVANE_API int32_t proclist_create(proclist_t* list);

/** Frees the snapshot and leaves the list empty. A null or an empty list is ignored. */
CORVANE_API void proclist_dispose(proclist_t* list);

/** The process id at an index; -1 if there is none. */
CORVANE_API int32_t proclist_pid(const proclist_t* list, int32_t index);

/** Non-zero (P_TRANSLATED) if the process runs translated; 0 if not, or if the list has no such process. */
CORVANE_API int32_t proclist_pid_istranslated(const proclist_t* list, int32_t pid);

/** The order of two kinfo_proc records by process id: negative, 0 or positive. For qsort and bsearch. */
CORVANE_API int32_t compare_pid(const void* a, const void* b);

#ifdef __cplusplus
}
#endif
