#pragma once

/** The records of the process information functions: fixed layouts, for C (C11 and later) and C++. In each record the
 *  members marked "filled" are set; all others are zero, because the system does not report them. A filled member is
 *  also zero if this user may not read it for that process, or if the process does not have it. Times are nanoseconds,
 *  sizes are bytes, unless a member says otherwise. */

#include <assert.h>
#include <stdint.h>
#include <sys/time.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A process's state, in pbi_status and p_stat; 0 if the system names one that is not known here. */
enum { SIDL = 1, SRUN = 2, SSLEEP = 3, SSTOP = 4, SZOMB = 5 };

/** Bits of p_flag. */
enum {
  P_CONTROLT = 0x2,      /**< has a controlling terminal */
  P_SYSTEM = 0x200,      /**< a kernel thread */
  P_WEXIT = 0x2000,      /**< is exiting */
  P_EXEC = 0x4000,       /**< has started a program since it was forked */
  P_TRANSLATED = 0x20000 /**< runs under an emulator of another machine */
};

/** Bits of e_flag. */
enum { EPROC_CTTY = 0x1 /**< has a controlling terminal */, EPROC_SLEADER = 0x2 /**< leads its session */ };

/** Bits of pbi_flags. */
enum {
  PROC_FLAG_SYSTEM = 0x1,    /**< a kernel thread */
  PROC_FLAG_TRACED = 0x2,    /**< a debugger holds it */
  PROC_FLAG_INEXIT = 0x4,    /**< is exiting */
  PROC_FLAG_SLEADER = 0x20,  /**< leads its session */
  PROC_FLAG_CONTROLT = 0x80, /**< has a controlling terminal */
  PROC_FLAG_EXEC = 0x4000    /**< has started a program since it was forked */
};

/** Bits of pri_protection. */
enum { VM_PROT_READ = 1, VM_PROT_WRITE = 2, VM_PROT_EXECUTE = 4 };
/** Values of pri_share_mode. */
enum { SM_COW = 1 /**< of a file, changes stay private */, SM_PRIVATE = 2, SM_SHARED = 4 };

/** Identity, ids, state and start of a process. */
struct proc_bsdinfo {
  uint32_t pbi_flags;   /**< filled: PROC_FLAG_* */
  uint32_t pbi_status;  /**< filled */
  uint32_t pbi_xstatus; /**< filled for a zombie: its status as from waitpid() */
  uint32_t pbi_pid;     /**< filled */
  uint32_t pbi_ppid;    /**< filled */
  uid_t pbi_uid;        /**< filled: effective */
  gid_t pbi_gid;        /**< filled: effective */
  uid_t pbi_ruid;       /**< filled: real */
  gid_t pbi_rgid;       /**< filled: real */
  uid_t pbi_svuid;      /**< filled: saved */
  gid_t pbi_svgid;      /**< filled: saved */
  uint32_t rfu_1;
  char pbi_comm[16];   /**< filled: the first 15 bytes of the name, in the process's own encoding */
  char pbi_name[32];   /**< filled: the first 31. The kernel keeps 15; the rest comes from the executable's name if that
                            begins with the same bytes and this user may read it, otherwise the name ends there. */
  uint32_t pbi_nfiles; /**< filled: open descriptors */
  uint32_t pbi_pgid;   /**< filled */
  uint32_t pbi_pjobc;
  uint32_t e_tdev;           /**< filled: device of the controlling terminal, 0 without */
  uint32_t e_tpgid;          /**< filled: the group in that terminal's foreground */
  int32_t pbi_nice;          /**< filled: -20 to 19 */
  uint64_t pbi_start_tvsec;  /**< filled: start, since 1970, in whole seconds */
  uint64_t pbi_start_tvusec; /**< filled: and microseconds */
};

/** The resources that a process is using and has used. */
struct proc_taskinfo {
  uint64_t pti_virtual_size;  /**< filled */
  uint64_t pti_resident_size; /**< filled */
  uint64_t pti_total_user;    /**< filled, in steps of the system's clock tick (10 ms) */
  uint64_t pti_total_system;  /**< filled, likewise */
  uint64_t pti_threads_user;
  uint64_t pti_threads_system;
  int32_t pti_policy;  /**< filled: SCHED_* of <sched.h> */
  int32_t pti_faults;  /**< filled: page faults; stops at the type's limit, as do the following */
  int32_t pti_pageins; /**< filled: those that waited for a disk */
  int32_t pti_cow_faults;
  int32_t pti_messages_sent;
  int32_t pti_messages_received;
  int32_t pti_syscalls_mach;
  int32_t pti_syscalls_unix;
  int32_t pti_csw;        /**< filled: context switches of the first thread */
  int32_t pti_threadnum;  /**< filled */
  int32_t pti_numrunning; /**< filled: 1 if the first thread runs or is ready to, otherwise 0 */
  int32_t pti_priority;   /**< filled: the kernel's, 0 to 39 in ordinary classes, negative in real-time classes */
};

/** Both. */
struct proc_taskallinfo {
  struct proc_bsdinfo pbsd;
  struct proc_taskinfo ptinfo;
};

/** A range of a process's addresses. */
struct proc_regioninfo {
  uint32_t pri_protection; /**< filled: VM_PROT_* */
  uint32_t pri_max_protection;
  uint32_t pri_inheritance;
  uint32_t pri_flags;
  uint64_t pri_offset; /**< filled: in the file that is mapped */
  uint32_t pri_behavior;
  uint32_t pri_user_wired_count;
  uint32_t pri_user_tag;
  uint32_t pri_pages_resident; /**< filled: in pages of the system's size, as are the following */
  uint32_t pri_pages_shared_now_private;
  uint32_t pri_pages_swapped_out; /**< filled */
  uint32_t pri_pages_dirtied;     /**< filled */
  uint32_t pri_ref_count;
  uint32_t pri_shadow_depth;
  uint32_t pri_share_mode;             /**< filled: SM_* */
  uint32_t pri_private_pages_resident; /**< filled */
  uint32_t pri_shared_pages_resident;  /**< filled */
  uint32_t pri_obj_id;
  uint32_t pri_depth;
  uint64_t pri_address; /**< filled */
  uint64_t pri_size;    /**< filled */
};

/** The resources that a process has used. */
struct rusage_info_v3 {
  uint8_t ri_uuid[16];
  uint64_t ri_user_time;   /**< filled, in steps of the system's clock tick (10 ms) */
  uint64_t ri_system_time; /**< filled, likewise */
  uint64_t ri_pkg_idle_wkups;
  uint64_t ri_interrupt_wkups;
  uint64_t ri_pageins;            /**< filled: page faults that waited for a disk */
  uint64_t ri_wired_size;         /**< filled: memory that is locked */
  uint64_t ri_resident_size;      /**< filled */
  uint64_t ri_phys_footprint;     /**< filled: memory not backed by a file, including swapped memory */
  uint64_t ri_proc_start_abstime; /**< filled: start, since the system's start */
  uint64_t ri_proc_exit_abstime;
  uint64_t ri_child_user_time;   /**< filled: of children that it has waited for */
  uint64_t ri_child_system_time; /**< filled, likewise */
  uint64_t ri_child_pkg_idle_wkups;
  uint64_t ri_child_interrupt_wkups;
  uint64_t ri_child_pageins; /**< filled, likewise */
  uint64_t ri_child_elapsed_abstime;
  uint64_t ri_diskio_bytesread;    /**< filled */
  uint64_t ri_diskio_byteswritten; /**< filled */
  uint64_t ri_cpu_time_qos_default;
  uint64_t ri_cpu_time_qos_maintenance;
  uint64_t ri_cpu_time_qos_background;
  uint64_t ri_cpu_time_qos_utility;
  uint64_t ri_cpu_time_qos_legacy;
  uint64_t ri_cpu_time_qos_user_initiated;
  uint64_t ri_cpu_time_qos_user_interactive;
  uint64_t ri_billed_system_time;
  uint64_t ri_serviced_system_time;
};

/** The first half of kinfo_proc. */
struct extern_proc {
  union {
    struct {
      void* p_forw;
      void* p_back;
    } p_st1;
    struct timeval p_starttime; /**< filled: since 1970 */
  } p_un;
  void* p_vmspace;
  void* p_sigacts;
  int32_t p_flag; /**< filled: P_* */
  char p_stat;    /**< filled: SRUN to SZOMB, or 0 */
  pid_t p_pid;    /**< filled */
  pid_t p_oppid;
  int32_t p_dupfd;
  char* user_stack;
  void* exit_thread;
  int32_t p_debugger;
  int32_t sigwait;
  uint32_t p_estcpu;
  int32_t p_cpticks;
  uint32_t p_pctcpu;
  void* p_wchan;
  char* p_wmesg;
  uint32_t p_swtime;
  uint32_t p_slptime;
  struct itimerval p_realtimer;
  struct timeval p_rtime; /**< filled: processor time */
  uint64_t p_uticks;      /**< filled: processor time of the program, in microseconds */
  uint64_t p_sticks;      /**< filled: of the kernel on its behalf, in microseconds */
  uint64_t p_iticks;
  int32_t p_traceflag;
  void* p_tracep;
  int32_t p_siglist;
  void* p_textvp;
  int32_t p_holdcnt;
  uint32_t p_sigmask;
  uint32_t p_sigignore;
  uint32_t p_sigcatch;
  uint8_t p_priority; /**< filled: the kernel's, 0 to 39; 0 in real-time classes */
  uint8_t p_usrpri;
  char p_nice;     /**< filled: -20 to 19 */
  char p_comm[17]; /**< filled: the first 16 bytes of what pbi_name has */
  void* p_pgrp;
  void* p_addr;
  uint16_t p_xstat; /**< filled for a zombie: its status as from waitpid() */
  uint16_t p_acflag;
  void* p_ru;
};

/** The second half of kinfo_proc. */
struct eproc {
  void* e_paddr;
  void* e_sess;
  struct _pcred {
    char pc_lock[72];
    void* pc_ucred;
    uid_t p_ruid;
    uid_t p_svuid;
    gid_t p_rgid;
    gid_t p_svgid;
    int32_t p_refcnt;
  } e_pcred; /**< ids */
  struct _ucred {
    int32_t cr_ref;
    uid_t cr_uid;        /**< filled: effective */
    int16_t cr_ngroups;  /**< filled: 1 */
    gid_t cr_groups[16]; /**< filled: the first, the effective group */
  } e_ucred;             /**< rights */
  struct vmspace {
    int32_t dummy;
    char* dummy2;
    int32_t dummy3[5];
    char* dummy4[3];
  } e_vm;       /**< not filled: zero */
  pid_t e_ppid; /**< filled */
  pid_t e_pgid; /**< filled */
  int16_t e_jobc;
  int32_t e_tdev; /**< filled: device of the controlling terminal, 0 without */
  pid_t e_tpgid;  /**< filled: the group in that terminal's foreground */
  void* e_tsess;
  char e_wmesg[8];
  int32_t e_xsize;
  int16_t e_xrssize;
  int16_t e_xccount;
  int16_t e_xswrss;
  int32_t e_flag; /**< filled: EPROC_* */
  char e_login[12];
  int32_t e_spare[4];
};

/** A process in a snapshot of all processes. */
struct kinfo_proc {
  struct extern_proc kp_proc;
  struct eproc kp_eproc;
};

static_assert(sizeof(struct proc_bsdinfo) == 136, "a fixed layout");
static_assert(sizeof(struct proc_taskinfo) == 96, "a fixed layout");
static_assert(sizeof(struct proc_taskallinfo) == 232, "a fixed layout");
static_assert(sizeof(struct proc_regioninfo) == 96, "a fixed layout");
static_assert(sizeof(struct rusage_info_v3) == 232, "a fixed layout");
static_assert(sizeof(struct extern_proc) == 296, "a fixed layout");
static_assert(sizeof(struct kinfo_proc) == 648, "a fixed layout");

#ifdef __cplusplus
}
#endif
