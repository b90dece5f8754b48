#define _XOPEN_SOURCE 700

#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "corvane/system/procinfo/procinfo.h"
#include "corvane/system/procinfo/proclist.h"

/* Where the members lie that programs for this layout read. */
_Static_assert(offsetof(struct proc_bsdinfo, pbi_comm) == 48, "");
_Static_assert(offsetof(struct proc_bsdinfo, pbi_name) == 64, "");
_Static_assert(offsetof(struct proc_bsdinfo, pbi_start_tvsec) == 120, "");
_Static_assert(offsetof(struct proc_taskinfo, pti_policy) == 48, "");
_Static_assert(offsetof(struct proc_regioninfo, pri_address) == 80, "");
_Static_assert(offsetof(struct rusage_info_v3, ri_diskio_bytesread) == 144, "");
_Static_assert(offsetof(struct kinfo_proc, kp_proc.p_flag) == 32, "");
_Static_assert(offsetof(struct kinfo_proc, kp_proc.p_stat) == 36, "");
_Static_assert(offsetof(struct kinfo_proc, kp_proc.p_pid) == 40, "");
_Static_assert(offsetof(struct kinfo_proc, kp_proc.p_comm) == 243, "");
_Static_assert(offsetof(struct kinfo_proc, kp_eproc.e_ucred.cr_uid) == 296 + 124, "");
_Static_assert(offsetof(struct kinfo_proc, kp_eproc.e_ppid) == 296 + 264, "");

#define CHECK(condition) \
  if (!(condition)) return __LINE__

static int32_t see(procinfo_files* context, int32_t fd, const char* path) {
  return fd >= 0 && path[0] == '/' ? ++*(int*)context->first : 0;
}

/* Calls every function and returns the line of the first check that fails, 0 if all hold. */
int checkProcInfoApi(void) {
  const int32_t self = (int32_t)getpid();
  char path[4096];
  char name[64];
  char copied[33];
  const int32_t length = procinfo_pidpath(self, path, sizeof path);
  CHECK(length > 1 && (size_t)length == strlen(path) && path[0] == '/');
  CHECK(procinfo_pidpath(self, path, (uint32_t)length) == 0 && path[0] == '\0');
  CHECK(procinfo_pidname(self, name, sizeof name) == (int32_t)strlen(name) && name[0] != '\0');

  struct proc_taskallinfo all;
  struct proc_bsdinfo info;
  struct proc_taskinfo task;
  CHECK(procinfo_pidinfo(self, NULL) == -1 && procinfo_pidinfo(self, &info) == 0);
  CHECK(info.pbi_pid == (uint32_t)self && info.pbi_ppid == (uint32_t)getppid() && info.pbi_uid == geteuid());
  CHECK(info.pbi_pgid == (uint32_t)getpgrp() && info.pbi_status == SRUN && (info.pbi_flags & PROC_FLAG_EXEC));
  CHECK(llabs((long long)info.pbi_start_tvsec - (long long)time(NULL)) < 120 && info.pbi_nfiles >= 3);
  memset(info.pbi_name, 'x', sizeof info.pbi_name);
  CHECK(procinfo_name(&info, copied) == 32 && strspn(copied, "x") == 32 && copied[32] == '\0');
  CHECK(procinfo_taskinfo(self, NULL) == -1 && procinfo_taskinfo(self, &task) == 0 && task.pti_numrunning == 1);
  CHECK(task.pti_virtual_size > task.pti_resident_size && task.pti_threadnum >= 1 && task.pti_faults > 100);
  CHECK(procinfo_taskallinfo(self, &all) == 0 && all.pbsd.pbi_start_tvusec == info.pbi_start_tvusec);

  /* A process that does not exist: zeroed or untouched, as each promises. */
  struct rusage_info_v3 usage;
  struct proc_regioninfo region;
  memset(&usage, 1, sizeof usage);
  memset(&task, 1, sizeof task);
  memset(&region, 1, sizeof region);
  CHECK(procinfo_pidinfo(-1, &info) == -1 && info.pbi_pid == 0);
  CHECK(procinfo_rusage(-1, &usage) == -1 && usage.ri_serviced_system_time == 0);
  CHECK(procinfo_taskinfo(-1, &task) == -1 && task.pti_policy == 0x01010101);
  CHECK(procinfo_regioninfo(-1, &region) == -1 && region.pri_flags == 0x01010101);
  CHECK(procinfo_isrunning(self) == 0 && procinfo_isrunning(0) == -1 && procinfo_private(-1) == 1);

  CHECK(procinfo_rusage(self, &usage) == 0 && usage.ri_phys_footprint > 0 && usage.ri_proc_start_abstime > 0);
  CHECK(procinfo_regioninfo(self, &region) == 0 && region.pri_address > 0 && region.pri_size > 0);

  int32_t pids[2];
  CHECK(procinfo_allpids(NULL, 0) > 0 && procinfo_allpids(pids, 1) == 1 && procinfo_allpids(pids, 0) == 0);
  CHECK(procinfo_pidsforname("", pids, 1) == 0 && procinfo_pidsforname(NULL, pids, 1) == 0);
  CHECK(procinfo_pidforname(NULL) == -1 && procinfo_pidforname("") == -1 && procinfo_pidforname(name) > 0);

  int seen = 0;
  procinfo_files context = {&seen, NULL, see};
  CHECK(procinfo_pidfiles(self, &context) == -1 && procinfo_pidfiles(self, NULL) == -1);

  proclist_t list;
  CHECK(proclist_create(NULL) == -1 && proclist_create(&list) == 0 && list.count > 0);
  CHECK(proclist_pid(&list, list.count) == -1 && proclist_pid(&list, -1) == -1 && proclist_pid(NULL, 0) == -1);
  for (int32_t i = 1; i < list.count; ++i) CHECK(compare_pid(&list.procs[i - 1], &list.procs[i]) < 0);
  CHECK(proclist_pid_istranslated(&list, self) == 0 && proclist_pid_istranslated(NULL, self) == 0);
  proclist_dispose(&list);
  CHECK(list.count == 0 && !list.procs && proclist_pid_istranslated(&list, self) == 0);
  proclist_dispose(NULL);

  CHECK(process_architecture() != arch_unknown);
  return 0;
}
