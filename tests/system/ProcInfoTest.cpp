#include "corvane/system/procinfo/procinfo.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/system/procinfo/proclist.h"
#include "tests/support/Child.h"
#include "tests/support/Conditions.h"
#include "tests/support/TempHome.h"

extern "C" int checkProcInfoApi();

namespace {

using namespace corvane;

std::string nameOf(pid_t pid) {
  std::array<char, 1024> name{};
  const int32_t length = procinfo_pidname(pid, name.data(), name.size());
  EXPECT_EQ(static_cast<std::size_t>(length), std::strlen(name.data()));
  return name.data();
}

std::string pathOf(pid_t pid) {
  std::array<char, 4096> path{};
  procinfo_pidpath(pid, path.data(), path.size());
  return path.data();
}

std::vector<int32_t> pidsFor(const std::string& name) {
  std::vector<int32_t> pids(8192);
  pids.resize(static_cast<std::size_t>(procinfo_pidsforname(name.c_str(), pids.data(), 1)));
  return pids;
}

proc_bsdinfo infoOf(pid_t pid) {
  proc_bsdinfo info{};
  EXPECT_EQ(procinfo_pidinfo(pid, &info), 0) << pid;
  return info;
}

// The process's record in a new snapshot.
kinfo_proc listed(pid_t pid) {
  proclist_t list;
  EXPECT_EQ(proclist_create(&list), 0);
  kinfo_proc record{};
  for (int32_t i = 0; i < list.count; ++i)
    if (proclist_pid(&list, i) == pid) record = list.procs[i];
  proclist_dispose(&list);
  return record;
}

TEST(ProcInfo, ACProgramCallsEveryFunction) {
  EXPECT_EQ(checkProcInfoApi(), 0) << "is the line of tests/system/ProcInfoApi.c that failed";
}

TEST(ProcInfo, NamesMayContainAnything) {
  for (const std::string name : {"two words", "(x) R 1 1", ") Z 0 0 0", "((", "a\nUid:\t7 7", "line feed\n",
                                 "\xFF\xFE\xC3", "fifteen bytes!!"}) {
    const Child child([&name] { prctl(PR_SET_NAME, name.c_str()); });
    EXPECT_EQ(nameOf(child.pid()), name);
    EXPECT_THAT(pidsFor(name), testing::ElementsAre(child.pid()));
    EXPECT_EQ(procinfo_pidforname(name.c_str()), child.pid());
    const proc_bsdinfo info = infoOf(child.pid());
    EXPECT_EQ(info.pbi_ruid, getuid());
    EXPECT_EQ(info.pbi_flags & PROC_FLAG_EXEC, 0U);
  }
}

TEST(ProcInfo, TheExecutableCompletesALongName) {
  const TempHome home;
  for (const std::size_t length : {15U, 16U, 20U, 31U, 60U}) {
    const std::string name = std::string("process-of-long-name-").substr(0, 14) + std::string(length - 14, 'z');
    std::filesystem::copy_file("/bin/sleep", home / name);
    const Child child({home / name, "600"});
    ASSERT_TRUE(waitUntil([&] { return nameOf(child.pid()) == name.substr(0, 31); })) << nameOf(child.pid());
    EXPECT_EQ(infoOf(child.pid()).pbi_comm, name.substr(0, 15));
    EXPECT_EQ(listed(child.pid()).kp_proc.p_comm, name.substr(0, 16));
    EXPECT_THAT(pidsFor(name.substr(0, 31)), testing::ElementsAre(child.pid()));
    EXPECT_EQ(procinfo_pidforname((name.substr(0, 16) + (length < 16 ? "" : "another end")).c_str()), child.pid());
    EXPECT_EQ(procinfo_pidforname(name.substr(0, 14).c_str()), -1);
  }
}

TEST(ProcInfo, StatesHaveTheirNumbers) {
  const Child child([] {});
  EXPECT_TRUE(waitUntil([&] { return infoOf(child.pid()).pbi_status == SSLEEP; }));
  EXPECT_EQ(listed(getpid()).kp_proc.p_stat, SRUN);

  kill(child.pid(), SIGKILL);
  EXPECT_TRUE(waitUntil([&] { return procinfo_isrunning(child.pid()) == -1; }));
  EXPECT_EQ(infoOf(child.pid()).pbi_status, 5U) << "a zombie";
  EXPECT_EQ(infoOf(child.pid()).pbi_xstatus, static_cast<uint32_t>(SIGKILL));
  EXPECT_EQ(pathOf(child.pid()), "");
  EXPECT_EQ(procinfo_private(child.pid()), 0);

  const pid_t gone = fork();
  if (gone == 0) _exit(0);
  waitpid(gone, nullptr, 0);
  EXPECT_EQ(standardErrorOf([gone] { EXPECT_EQ(procinfo_isrunning(gone), -1); }), "");
  EXPECT_EQ(procinfo_private(gone), 1);
}

TEST(ProcInfo, ADeletedExecutableKeepsItsPath) {
  const TempHome home;
  for (const char* name : {"napper", "napper (deleted)"}) {
    const std::string path = home / name;
    std::filesystem::copy_file("/bin/sleep", path);
    const Child child({path, "600"});
    ASSERT_TRUE(waitUntil([&] { return pathOf(child.pid()) == path; })) << pathOf(child.pid());
    std::filesystem::remove(path);
    EXPECT_EQ(pathOf(child.pid()), path);
  }
}

TEST(ProcInfo, OpenFilesAreThoseWithAPath) {
  const TempHome home;
  const FileDescriptor file(open(home.write("a file", "").c_str(), O_RDONLY | O_CLOEXEC));
  const FileDescriptor deleted(open(home.write("deleted", "").c_str(), O_RDONLY | O_CLOEXEC));
  std::filesystem::remove(home / "deleted");
  const FileDescriptor folder(open(home.path().c_str(), O_RDONLY | O_CLOEXEC));
  const FileDescriptor device(open("/dev/zero", O_RDONLY | O_CLOEXEC));
  const FileDescriptor memory(memfd_create("x", MFD_CLOEXEC));
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  const FileDescriptor reader(ends[0]), writer(ends[1]);

  std::map<int, std::string> seen;
  procinfo_files context{&seen, nullptr, [](procinfo_files* self, int32_t fd, const char* path) -> int32_t {
                           close(open("/", O_RDONLY | O_CLOEXEC));  // what the caller does is irrelevant
                           return static_cast<std::map<int, std::string>*>(self->first)->emplace(fd, path).second ? 1
                                                                                                                  : 0;
                         }};
  EXPECT_EQ(procinfo_pidfiles(getpid(), &context), -1);
  const std::map<int, std::string> expected = {{file.get(), home / "a file"},
                                               {deleted.get(), home / "deleted"},
                                               {folder.get(), home.path()},
                                               {device.get(), "/dev/zero"}};
  for (const auto& [descriptor, path] : expected) EXPECT_EQ(seen[descriptor], path);
  EXPECT_FALSE(seen.contains(memory.get()) || seen.contains(reader.get()));
  for (const auto& [descriptor, path] : seen) EXPECT_FALSE(path.ends_with("/fd")) << "the one that looks";
}

TEST(ProcInfo, KernelThreadsHaveNoProgram) {
  const kinfo_proc record = listed(2);
  if ((record.kp_proc.p_flag & P_SYSTEM) == 0) GTEST_SKIP() << "no kernel threads to be seen here";
  EXPECT_STREQ(record.kp_proc.p_comm, "kthreadd");
  EXPECT_EQ(record.kp_proc.p_flag & P_EXEC, 0);
  EXPECT_EQ(pathOf(2), "");
  EXPECT_TRUE((infoOf(2).pbi_flags & PROC_FLAG_SYSTEM) != 0);
}

constexpr uid_t NOBODY = 65534;

TEST(ProcInfo, AnOrdinaryUserSeesWhatEveryUserMay) {
  if (geteuid() != 0) GTEST_SKIP() << "needs two users";
  const pid_t root = getppid();
  const OrdinaryUser nobody;
  proc_bsdinfo info{};
  proc_taskinfo task{};
  rusage_info_v3 usage{};
  proc_regioninfo region{};
  EXPECT_TRUE(procinfo_pidinfo(root, &info) == 0 && info.pbi_uid == 0 && info.pbi_nfiles == 0);
  EXPECT_STRNE(info.pbi_name, "");
  EXPECT_TRUE(procinfo_taskinfo(root, &task) == 0 && task.pti_resident_size > 0);
  EXPECT_TRUE(procinfo_rusage(root, &usage) == 0 && usage.ri_diskio_bytesread == 0 && usage.ri_resident_size > 0);
  EXPECT_NE(nameOf(root), "");
  EXPECT_EQ(procinfo_private(root), 0);
  EXPECT_EQ(procinfo_isrunning(root), 0);
  EXPECT_EQ(pathOf(root), "");
  EXPECT_EQ(errno, EACCES);
  EXPECT_EQ(procinfo_regioninfo(root, &region), -1);
  EXPECT_EQ(procinfo_pidfiles(root, nullptr), -1);
}

TEST(ProcInfo, AProcessThatHidesItselfStillHasItsUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs two users";
  const Child child([] {
    if (setresgid(NOBODY, NOBODY, NOBODY) != 0 || setresuid(1, NOBODY, 2) != 0) _exit(1);
    prctl(PR_SET_DUMPABLE, 0);
  });
  EXPECT_EQ(listed(child.pid()).kp_eproc.e_ucred.cr_uid, NOBODY);
  EXPECT_EQ(listed(child.pid()).kp_eproc.e_ucred.cr_groups[0], NOBODY);
  const proc_bsdinfo info = infoOf(child.pid());
  EXPECT_EQ(info.pbi_uid, NOBODY);
  EXPECT_EQ(info.pbi_ruid, 1U);
  EXPECT_EQ(info.pbi_svuid, 2U);
}

TEST(ProcInfo, AnEmulatorIsMarked) {
  const TempHome home;
#ifdef __aarch64__
  const std::string emulator = home / "qemu-x86_64";
#else
  const std::string emulator = home / "qemu-aarch64";
#endif
  std::filesystem::copy_file("/bin/sleep", emulator);
  const Child child({emulator, "600"});
  EXPECT_TRUE(waitUntil([&] { return (listed(child.pid()).kp_proc.p_flag & P_TRANSLATED) != 0; }));

  // The name alone does not make an emulator.
  const Child impostor([] { prctl(PR_SET_NAME, "qemu-aarch64"); });
  EXPECT_EQ(listed(impostor.pid()).kp_proc.p_flag & P_TRANSLATED, 0);
}

TEST(ProcInfo, ProcessesVanishUnderEveryQuestion) {
  std::atomic<bool> done = false;
  std::atomic<pid_t> latest = 1;
  std::vector<std::thread> askers;
  for (int i = 0; i < 2; ++i)
    askers.emplace_back([&] {
      while (!done) {
        const pid_t pid = latest;
        proc_taskallinfo all{};
        rusage_info_v3 usage{};
        proc_regioninfo region{};
        procinfo_files context{nullptr, nullptr, [](procinfo_files*, int32_t, const char*) -> int32_t { return 0; }};
        if (procinfo_taskallinfo(pid, &all) == 0) {
          EXPECT_EQ(all.pbsd.pbi_pid, static_cast<uint32_t>(pid));
        }
        procinfo_rusage(pid, &usage);
        procinfo_regioninfo(pid, &region);
        procinfo_pidfiles(pid, &context);
        pathOf(pid);
        EXPECT_EQ(listed(getpid()).kp_proc.p_pid, getpid());
        EXPECT_FALSE(pidsFor(nameOf(getpid())).empty());
      }
    });
  for (int i = 0; i < 150; ++i) {
    const Child child({"true"});
    latest = child.pid();
    waitid(P_PID, static_cast<id_t>(child.pid()), nullptr, WEXITED | WNOWAIT);
  }
  done = true;
  for (std::thread& asker : askers) asker.join();
}

}  // namespace
