#include "corvane/system/procinfo/proclist.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <vector>

#include "corvane/core/Files.h"
#include "corvane/linux/process/ProcessText.h"
#include "corvane/system/procinfo/procinfo.h"
#include "corvane/testing/FakePlatform.h"
#include "tests/support/Conditions.h"

namespace {

using namespace corvane;

// A process as the kernel describes it.
FakeProcessTable::Process example() {
  FakeProcessTable::Process process;
  EXPECT_TRUE(
      readProcessStat("70 (process (named) at length, at great length) T 60 61 70 34817 62 4 100 1 11 13 150 225 -3 4 "
                      "25 -5 12 0 765432 "
                      "4096000 2 18446744073709551615 1 1 0 0 0 0 0 0 0 0 0 0 17 1 0 3 0 0 0 0 0 0 0 0 0 0 256\n",
                      {}, process.info));
  process.info.uid = 5;
  process.info.gid = 6;
  process.info.translated = true;
  process.details = readProcessStatus(
      "Name:\ta\\nUid:\t1 1 1 1\nUid:\t7\t5\t8\t5\nGid:\t9\t6\t10\t6\nTracerPid:\t4\nVmRSS:\t    9 kB\nVmLck:\t    2 "
      "kB\n"
      "RssAnon:\t 3 kB\nVmSwap:\t 4 kB\nvoluntary_ctxt_switches:\t20\nnonvoluntary_ctxt_switches:\t1099511627776");
  process.diskBytes = readProcessIo("rchar: 1\nwchar: 2\nread_bytes: 31\nwrite_bytes: 37\ncancelled_write_bytes: 5\n");
  RegionReader reader(0x2000);
  for (const char* line :
       {"1000-2000 r--p 00000000 fe:00 5 /below", "Rss:  100 kB", "nonsense", "3000-2000 r--p 0 0:0 0",
        "1000-4000 r-xp 00000500 fe:00 6  /a b: c", "Size:   12 kB", "Rss:   12 kB", "Shared_Clean:  1 kB",
        "Shared_Dirty: 3 kB", "Private_Dirty: 5 kB", "Swap: 8 kB", "VmFlags: rd wr"})
    EXPECT_TRUE(reader.take(line));
  EXPECT_FALSE(reader.take("4000-5000 rw-s 0 0:0 0")) << "the next region ends it";
  process.regions = {reader.region().value()};
  process.files = {{3, "/a"}, {4, "/b"}};
  return process;
}

// Numbers of any types in one list.
template <class... Number>
std::vector<int64_t> listOf(Number... numbers) {
  return {static_cast<int64_t>(numbers)...};
}

TEST(ProcRecords, EveryKnownMemberIsFilled) {
  FakePlatform fake;
  fake.processTable->boot = 1'000'000'000'000'500;
  fake.processTable->processes[70] = example();

  proc_taskallinfo all{};
  ASSERT_EQ(procinfo_taskallinfo(70, &all), 0);
  const proc_bsdinfo& info = all.pbsd;
  EXPECT_EQ(
      listOf(info.pbi_flags, info.pbi_status, info.pbi_xstatus, info.pbi_pid, info.pbi_ppid, info.pbi_uid, info.pbi_gid,
             info.pbi_ruid, info.pbi_rgid, info.pbi_svuid, info.pbi_svgid, info.pbi_nfiles, info.pbi_pgid, info.e_tdev,
             info.e_tpgid, info.pbi_nice, info.pbi_start_tvsec, info.pbi_start_tvusec),
      listOf(0x40a6, SSTOP, 0, 70, 60, 5, 6, 7, 9, 8, 10, 2, 61, 0x8801, 62, -5, 1'000'007'654, 320'500));
  EXPECT_STREQ(info.pbi_comm, "process (named)");
  EXPECT_STREQ(info.pbi_name, "process (named) at length, at g");

  const proc_taskinfo& task = all.ptinfo;
  EXPECT_EQ(listOf(task.pti_virtual_size, task.pti_resident_size, task.pti_total_user, task.pti_total_system,
                   task.pti_policy, task.pti_faults, task.pti_pageins, task.pti_csw, task.pti_threadnum,
                   task.pti_numrunning, task.pti_priority),
            listOf(4096'000, 9216, 1'500'000'000, 2'250'000'000, 3, 111, 11, INT32_MAX, 12, 0, 25));

  rusage_info_v3 usage{};
  ASSERT_EQ(procinfo_rusage(70, &usage), 0);
  EXPECT_EQ(
      listOf(usage.ri_user_time, usage.ri_system_time, usage.ri_pageins, usage.ri_wired_size, usage.ri_resident_size,
             usage.ri_phys_footprint, usage.ri_proc_start_abstime, usage.ri_child_user_time, usage.ri_child_system_time,
             usage.ri_child_pageins, usage.ri_diskio_bytesread, usage.ri_diskio_byteswritten),
      listOf(1'500'000'000, 2'250'000'000, 11, 2048, 9216, 7168, 7'654'320'000'000, -30'000'000, 40'000'000, 13, 31,
             37));

  proc_regioninfo region{};
  ASSERT_EQ(procinfo_regioninfo(70, &region), 0);
  EXPECT_EQ(listOf(region.pri_protection, region.pri_offset, region.pri_pages_resident, region.pri_pages_swapped_out,
                   region.pri_pages_dirtied, region.pri_share_mode, region.pri_private_pages_resident,
                   region.pri_shared_pages_resident, region.pri_address, region.pri_size),
            listOf(5, 0x500, 3, 2, 2, SM_COW, 2, 1, 0x1000, 0x3000));

  proclist_t list;
  ASSERT_EQ(proclist_create(&list), 0);
  const extern_proc& own = list.procs[0].kp_proc;
  const eproc& rest = list.procs[0].kp_eproc;
  EXPECT_STREQ(own.p_comm, "process (named) ");
  EXPECT_EQ(listOf(own.p_flag, own.p_un.p_starttime.tv_sec, own.p_un.p_starttime.tv_usec, own.p_stat, own.p_pid,
                   own.p_rtime.tv_sec, own.p_rtime.tv_usec, own.p_uticks, own.p_sticks, own.p_priority, own.p_nice,
                   own.p_xstat),
            listOf(0x26002, 1'000'007'654, 320'500, 4, 70, 3, 750'000, 1'500'000, 2'250'000, 25, -5, 0));
  EXPECT_EQ(listOf(rest.e_ucred.cr_uid, rest.e_ucred.cr_ngroups, rest.e_ucred.cr_groups[0], rest.e_ppid, rest.e_pgid,
                   rest.e_tdev, rest.e_tpgid, rest.e_flag),
            listOf(5, 1, 6, 60, 61, 0x8801, 62, 3));
  EXPECT_EQ(proclist_pid_istranslated(&list, 70), 131072);
  EXPECT_EQ(proclist_pid_istranslated(&list, 71), 0);
  proclist_dispose(&list);
}

TEST(ProcRecords, WhatMayNotBeReadIsZeroAndEndedProcessesAreErrors) {
  FakePlatform fake;
  fake.processTable->processes[70].info.userTime = 41;
  for (const bool gone : {false, true}) {  // after the first of several reads
    fake.processTable->lacking = gone ? ESRCH : EACCES;
    rusage_info_v3 usage{};
    proc_regioninfo region{};
    proc_bsdinfo info{};
    proc_taskinfo task{};
    const int32_t result = gone ? -1 : 0;
    EXPECT_EQ(procinfo_rusage(70, &usage), result);
    EXPECT_EQ(listOf(usage.ri_user_time, usage.ri_diskio_bytesread), listOf(gone ? 0 : 41, 0));
    EXPECT_EQ(procinfo_pidinfo(70, &info), result);
    EXPECT_EQ(listOf(info.pbi_pid, info.pbi_ruid), listOf(gone ? 0 : 70, 0));
    EXPECT_EQ(procinfo_taskinfo(70, &task), result);
    EXPECT_EQ(procinfo_regioninfo(70, &region), -1);
    EXPECT_EQ(procinfo_private(70), 0);
  }
}

TEST(ProcList, GrowsWhenThereAreMoreThanEstimated) {
  FakePlatform fake;
  for (pid_t pid = 1; pid <= 40'000; ++pid) fake.processTable->processes[pid].info.name = "many";
  for (const std::size_t estimated : {0U, 7U, 40'000U}) {
    fake.processTable->estimated = estimated;
    proclist_t list;
    ASSERT_EQ(proclist_create(&list), 0);
    ASSERT_EQ(list.count, 40'000);
    for (int32_t i = 0; i < list.count; ++i) {
      ASSERT_EQ(proclist_pid(&list, i), i + 1);
      ASSERT_EQ(list.procs[i].kp_proc.p_flag, 0);
    }
    EXPECT_EQ(proclist_pid(&list, list.count), -1);
    proclist_dispose(&list);
  }

  std::vector<int32_t> pids(40'000, -7);
  EXPECT_EQ(procinfo_allpids(pids.data(), 30'000), 30'000);
  EXPECT_EQ(pids[30'000], -7);
  EXPECT_EQ(procinfo_allpids(nullptr, 5), 40'000);
  EXPECT_EQ(procinfo_pidsforname("many", pids.data(), 1), 8192) << "looks at no more";
  EXPECT_EQ(pids[8191], 8192);
  EXPECT_EQ(procinfo_pidforname("many"), 1);
}

TEST(ProcList, ARefusedTableLeavesAnEmptyList) {
  FakePlatform fake;
  fake.processTable->error = Error{"posix", EMFILE, ""};
  kinfo_proc record{};
  proclist_t list = {3, &record};
  EXPECT_EQ(proclist_create(&list), -1);
  EXPECT_EQ(errno, EMFILE);
  EXPECT_EQ(list.count, 0);
  EXPECT_EQ(list.procs, nullptr);
  EXPECT_EQ(procinfo_pidforname("x"), -1);
  EXPECT_EQ(procinfo_allpids(nullptr, 0), -1);
  int32_t pid = 0;
  EXPECT_EQ(procinfo_pidsforname("x", &pid, 1), 0);
  EXPECT_EQ(procinfo_private(1), 1);
  EXPECT_EQ(standardErrorOf([] { EXPECT_EQ(procinfo_isrunning(1), -1); }), "sysctl: Too many open files\n");
}

TEST(ProcList, WithoutDescriptorsTheListIsEmptyNotPartial) {
  proclist_t list;
  ASSERT_EQ(proclist_create(&list), 0);  // a sanitizer looks at new types in files
  proclist_dispose(&list);
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const FileDescriptor highest(dup(0));
  for (rlim_t room = 0; room < 2; ++room) {  // none; then one for /proc, but none for what is in it
    const rlimit tight{static_cast<rlim_t>(highest.get()) + 1 + room, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &tight);
    const int32_t result = proclist_create(&list);
    const int code = errno;
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(code, EMFILE);
    EXPECT_EQ(list.procs, nullptr);
  }
}

}  // namespace
