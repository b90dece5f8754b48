#include "corvane/system/ProcessList.h"

namespace corvane {

ProcessList::ProcessList() {
  update();
}

ProcessList::~ProcessList() {
  MutexLock lock(m_mutex);
  proclist_dispose(&m_processes);
}

void ProcessList::update() {
  MutexLock lock(m_mutex);
  proclist_dispose(&m_processes);
  proclist_create(&m_processes);
}

arch_t ProcessList::architecture() {
  static const arch_t ARCHITECTURE = process_architecture();
  return ARCHITECTURE;
}

ProcessList::Process ProcessList::processOf(const kinfo_proc& record) {
  const extern_proc& own = record.kp_proc;
  return {.id = own.p_pid,
          .parent = record.kp_eproc.e_ppid,
          .user = record.kp_eproc.e_ucred.cr_uid,
          .name = own.p_comm,
          .started = Timeval(own.p_un.p_starttime),
          .processorTime = Timeval(own.p_rtime)};
}

int ProcessList::translated() const {
  int count = 0;
  if (architecture() == arch_apple) iterate([&](std::int32_t pid) { count += isTranslated(pid) ? 1 : 0; });
  return count;
}

bool ProcessList::isTranslated(std::int32_t pid) const {
  return proclist_pid_istranslated(&m_processes, pid) != 0;
}

std::string ProcessList::kind(std::int32_t pid) const {
  switch (architecture()) {
    case arch_intel:
      return "Intel";
    case arch_apple:
      return isTranslated(pid) ? "Intel" : "Apple";
    default:
      return {};
  }
}

}  // namespace corvane
