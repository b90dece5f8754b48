#pragma once

/** Questions about single processes, for C (C11 and later) and C++. Any thread, any number at a time. Nothing is kept
 *  between calls: each answer is that of the system at that moment. A process can end between two questions and its id
 *  can be reused; id and start time (pbi_start_tvsec, pbi_start_tvusec) together identify a process.
 *
 *  On failure errno gives the reason: ESRCH if there is no such process or it ends meanwhile, EACCES or EPERM if this
 *  user may not inspect it. On Linux the answers come from /proc: any user may read names, ids, states, times and
 *  sizes; only root may read the executable's path, open files, memory regions and disk bytes of another user's
 *  process. Only procinfo_regioninfo waits for the process that it is about, so a stuck process does not block the
 *  others. */

#include <stdint.h>

#include "corvane/platform/Export.h"
#include "corvane/system/procinfo/records.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The path of the executable, NUL-terminated. Returns its length; 0 on failure, including when it does not fit with
 *  its NUL (errno is then ENOMEM). A deleted executable has the path that it had. Paths have up to 4,095 bytes. Kernel
 *  threads have no path. */
CORVANE_API int32_t procinfo_pidpath(int32_t pid, char* buffer, uint32_t size);

/** Copies the name from a record; `out` must have room for 33 bytes. Returns the number of characters before the NUL,
 *  at most 32. */
CORVANE_API int32_t procinfo_name(const struct proc_bsdinfo* info, char* out);

/** The name as in pbi_name, NUL-terminated; at most 31 bytes. Returns its length; 0 on failure, including when it does
 *  not fit with its NUL (errno is then ENOMEM). On failure the buffer, if it has any room, holds an empty text. */
CORVANE_API int32_t procinfo_pidname(int32_t pid, char* buffer, uint32_t size);

/** The resources that a process has used. Returns 0, or -1 with the record zeroed. */
CORVANE_API int32_t procinfo_rusage(int32_t pid, struct rusage_info_v3* out);

/** The ids of all processes, in ascending order. Stores as many as there is room for and returns the number stored, or
 *  -1 on failure. With a null array it returns the number of processes. */
CORVANE_API int32_t procinfo_allpids(int32_t* pids, int32_t capacity);

/** Identity, ids, state and start of a process. Returns 0, or -1 with the record zeroed. */
CORVANE_API int32_t procinfo_pidinfo(int32_t pid, struct proc_bsdinfo* out);

/** Stores the ids of the processes whose pbi_name equals a name, and returns their number. Only the 8,192 processes
 *  with the lowest ids are considered. The capacity must be at least 1 and DOES NOT BOUND THE RESULT: there must be
 *  room for every process that may have the name; room for 8,192 ids is always enough. Returns 0 if the name or the
 *  array is null, the name is empty or the capacity is below 1. */
CORVANE_API int32_t procinfo_pidsforname(const char* name, int32_t* pids, int32_t capacity);

/** The receiver of open files. */
typedef struct procinfo_files {
  void* first;  /**< the caller's own */
  void* second; /**< the caller's own */
  /** Called with this record, a descriptor's number and the path of the file that is open on it, which is valid during
   *  the call; a deleted file has the path that it had. Paths have up to 4,095 bytes. The result is ignored. */
  int32_t (*callback)(struct procinfo_files* context, int32_t fd, const char* path);
} procinfo_files;

/** Calls the context's callback, on this thread, for each descriptor that the process has open on a file, a folder or a
 *  device; sockets, pipes and shared memory are omitted. ALWAYS RETURNS -1, even after a complete scan. A null context
 *  or callback is allowed. */
CORVANE_API int32_t procinfo_pidfiles(int32_t pid, procinfo_files* context);

/** The process's memory region with the lowest address. Returns 0, or -1 with the record untouched. */
CORVANE_API int32_t procinfo_regioninfo(int32_t pid, struct proc_regioninfo* out);

/** The resources that a process is using. Returns 0, or -1 with the record untouched. */
CORVANE_API int32_t procinfo_taskinfo(int32_t pid, struct proc_taskinfo* out);

/** procinfo_pidinfo and procinfo_taskinfo combined. Returns 0, or -1 with the record untouched. */
CORVANE_API int32_t procinfo_taskallinfo(int32_t pid, struct proc_taskallinfo* out);

/** Returns 1 if procinfo_pidinfo would fail because there is no such process or this user may not inspect it, otherwise
 *  0. */
CORVANE_API int32_t procinfo_private(int32_t pid);

/** Returns 0 if the process runs, -1 if it does not exist or is a zombie. If the system refuses to answer, this is
 *  printed on standard error with the prefix "sysctl", and the result is -1. */
CORVANE_API int32_t procinfo_isrunning(int32_t pid);

/** The id of the first process, in ascending order of ids, whose p_comm equals the first 16 bytes of the name; -1 if
 *  there is none, the name is null or empty, or the system refuses to answer. */
CORVANE_API int32_t procinfo_pidforname(const char* name);

/** The kind of machine, with regard to programs for other machines. */
typedef enum arch_t {
  arch_intel = 0,  /**< every process is native */
  arch_apple = 1,  /**< programs of another machine run here under translation, beside native ones */
  arch_unknown = 2 /**< the system refuses to tell */
} arch_t;

/** On Linux, whatever the processor: arch_apple if the kernel starts foreign executables under an emulator (a
 *  binfmt_misc handler for executables is in force), otherwise arch_intel. */
CORVANE_API arch_t process_architecture(void);

#ifdef __cplusplus
}
#endif
