#include "corvane/system/procinfo/proclist.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <vector>

#include "corvane/platform/fake/FakePlatform.h"
#include "corvane/system/procinfo/procinfo.h"

namespace {

using namespace corvane;

FakeProcessTable::Process example() {
  FakeProcessTable::Process process;
  process.info = {.pid = 70,
                  .parent = 60,
                  .group = 61,
                  .session = 70,
                  .uid = 5,
                  .gid = 6,
                  .name = "process named at length, at great length",
                  .state = ProcessState::STOPPED,
                  .kernel = true,
                  .exiting = true,
                  .executed = true,
                  .translated = true,
                  .terminal = 0x8801,
                  .terminalGroup = 62,
                  .priority = 25,
                  .nice = -5,
                  .policy = 3,
                  .threads = 12,
                  .exitStatus = 256,
                  .minorFaults = 100,
                  .majorFaults = 11,
                  .childMajorFaults = 13,
                  .userTime = 1'500'000'000,
                  .systemTime = 2'250'000'000,
                  .childUserTime = 17,
                  .childSystemTime = 19,
                  .started = 7'654'321'000,
                  .virtualBytes = 4096'000,
                  .residentBytes = 4096};
  process.details = {.realUid = 7,
                     .savedUid = 8,
                     .realGid = 9,
                     .savedGid = 10,
                     .tracer = 1,
                     .contextSwitches = 1ULL << 40,
                     .lockedBytes = 23,
                     .anonymousBytes = 29};
  process.diskBytes = {31, 37};
  process.regions = {{.address = 0x1000,
                      .size = 0x3000,
                      .offset = 0x500,
                      .readable = true,
                      .executable = true,
                      .file = true,
                      .residentBytes = 12288,
                      .sharedBytes = 4096,
                      .dirtyBytes = 8192,
                      .swappedBytes = 4096}};
  process.files = {{3, "/a"}, {4, "/b"}};
  return process;
}

TEST(ProcRecords, EveryKnownMemberIsFilled) {
  FakePlatform fake;
  fake.processTable->boot = 1'000'000'000'000'500;
  fake.processTable->processes[70] = example();

  proc_taskallinfo all{};
  ASSERT_EQ(procinfo_taskallinfo(70, &all), 0);
  const proc_bsdinfo& info = all.pbsd;
  EXPECT_EQ(info.pbi_flags, 0x1U | 0x2U | 0x4U | 0x20U | 0x80U | 0x4000U);
  EXPECT_EQ(info.pbi_status, 4U);
  const std::vector<uint32_t> ids = {info.pbi_xstatus, info.pbi_pid,  info.pbi_ppid,  info.pbi_uid,   info.pbi_gid,
                                     info.pbi_ruid,    info.pbi_rgid, info.pbi_svuid, info.pbi_svgid, info.pbi_nfiles,
                                     info.pbi_pgid,    info.e_tdev,   info.e_tpgid};
  EXPECT_EQ(ids, (std::vector<uint32_t>{256, 70, 60, 5, 6, 7, 9, 8, 10, 2, 61, 0x8801, 62}));
  EXPECT_EQ(info.pbi_nice, -5);
  EXPECT_STREQ(info.pbi_comm, "process named a");
  EXPECT_STREQ(info.pbi_name, "process named at length, at gre");
  EXPECT_EQ(info.pbi_start_tvsec, 1'000'000'007U);
  EXPECT_EQ(info.pbi_start_tvusec, 654'821U);

  const proc_taskinfo& task = all.ptinfo;
  const std::vector<uint64_t> sizes = {task.pti_virtual_size, task.pti_resident_size, task.pti_total_user,
                                       task.pti_total_system};
  EXPECT_EQ(sizes, (std::vector<uint64_t>{4096'000, 4096, 1'500'000'000, 2'250'000'000}));
  const std::vector<int32_t> counts = {task.pti_policy,    task.pti_faults,     task.pti_pageins, task.pti_csw,
                                       task.pti_threadnum, task.pti_numrunning, task.pti_priority};
  EXPECT_EQ(counts, (std::vector<int32_t>{3, 111, 11, INT32_MAX, 12, 0, 25}));

  rusage_info_v3 usage{};
  ASSERT_EQ(procinfo_rusage(70, &usage), 0);
  const std::vector<uint64_t> costs = {
      usage.ri_user_time,          usage.ri_system_time,      usage.ri_pageins,
      usage.ri_wired_size,         usage.ri_resident_size,    usage.ri_phys_footprint,
      usage.ri_proc_start_abstime, usage.ri_child_user_time,  usage.ri_child_system_time,
      usage.ri_child_pageins,      usage.ri_diskio_bytesread, usage.ri_diskio_byteswritten};
  EXPECT_EQ(costs,
            (std::vector<uint64_t>{1'500'000'000, 2'250'000'000, 11, 23, 4096, 29, 7'654'321'000, 17, 19, 13, 31, 37}));

  proc_regioninfo region{};
  ASSERT_EQ(procinfo_regioninfo(70, &region), 0);
  const std::vector<uint64_t> range = {region.pri_protection,
                                       region.pri_offset,
                                       region.pri_pages_resident,
                                       region.pri_pages_swapped_out,
                                       region.pri_pages_dirtied,
                                       region.pri_share_mode,
                                       region.pri_private_pages_resident,
                                       region.pri_shared_pages_resident,
                                       region.pri_address,
                                       region.pri_size};
  EXPECT_EQ(range, (std::vector<uint64_t>{5, 0x500, 3, 1, 2, SM_COW, 2, 1, 0x1000, 0x3000}));

  proclist_t list;
  ASSERT_EQ(proclist_create(&list), 0);
  const extern_proc& own = list.procs[0].kp_proc;
  const eproc& rest = list.procs[0].kp_eproc;
  EXPECT_EQ(own.p_flag, 0x2 | 0x200 | 0x2000 | 0x4000 | 0x20000);
  EXPECT_STREQ(own.p_comm, "process named at");
  const std::vector<int64_t> numbers = {own.p_un.p_starttime.tv_sec,
                                        own.p_un.p_starttime.tv_usec,
                                        own.p_stat,
                                        own.p_pid,
                                        own.p_rtime.tv_sec,
                                        own.p_rtime.tv_usec,
                                        static_cast<int64_t>(own.p_uticks),
                                        static_cast<int64_t>(own.p_sticks),
                                        own.p_priority,
                                        own.p_nice,
                                        own.p_xstat,
                                        rest.e_ucred.cr_uid,
                                        rest.e_ucred.cr_ngroups,
                                        rest.e_ucred.cr_groups[0],
                                        rest.e_ppid,
                                        rest.e_pgid,
                                        rest.e_tdev,
                                        rest.e_tpgid,
                                        rest.e_flag};
  EXPECT_EQ(numbers, (std::vector<int64_t>{1'000'000'007, 654'821, 4, 70, 3, 750'000, 1'500'000, 2'250'000, 25, -5, 256,
                                           5, 1, 6, 60, 61, 0x8801, 62, 3}));
  EXPECT_EQ(proclist_pid_istranslated(&list, 70), 131072);
  EXPECT_EQ(proclist_pid_istranslated(&list, 71), 0);
  proclist_dispose(&list);
}

TEST(ProcRecords, WhatMayNotBeReadIsZero) {
  FakePlatform fake;
  fake.processTable->processes[70].info.userTime = 41;
  rusage_info_v3 usage{};
  proc_regioninfo region{};
  proc_bsdinfo info{};
  EXPECT_EQ(procinfo_rusage(70, &usage), 0);
  EXPECT_EQ(usage.ri_user_time, 41U);
  EXPECT_EQ(usage.ri_diskio_bytesread, 0U);
  EXPECT_EQ(procinfo_pidinfo(70, &info), 0);
  EXPECT_EQ(info.pbi_ruid, 0U);
  EXPECT_EQ(procinfo_regioninfo(70, &region), -1);
}

TEST(ProcList, GrowsWhereThereAreMoreThanEstimated) {
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
  testing::internal::CaptureStderr();
  EXPECT_EQ(procinfo_isrunning(1), -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "sysctl: Too many open files\n");
}

TEST(ProcList, TheMachineIsWhatTheSystemSays) {
  FakePlatform fake;
  EXPECT_EQ(process_architecture(), arch_intel);
  fake.processTable->translating = true;
  EXPECT_EQ(process_architecture(), arch_apple);
  fake.processTable->translating = failure("posix", EACCES, "");
  EXPECT_EQ(process_architecture(), arch_unknown);
}

}  // namespace
