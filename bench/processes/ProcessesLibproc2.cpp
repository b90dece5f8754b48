#include <libproc2/pids.h>

#include <cstring>

#include "bench/processes/Processes.h"

namespace {

// The same figures as in Corvane's records, as far as the library has them.
pids_item ITEMS[] = {PIDS_ID_TGID, PIDS_ID_PPID,     PIDS_ID_PGRP,     PIDS_ID_SESSION, PIDS_CMD,
                     PIDS_STATE,   PIDS_TTY,         PIDS_ID_TPGID,    PIDS_FLAGS,      PIDS_FLT_MIN,
                     PIDS_FLT_MAJ, PIDS_TICS_USER,   PIDS_TICS_SYSTEM, PIDS_PRIORITY,   PIDS_NICE,
                     PIDS_NLWP,    PIDS_VSIZE_BYTES, PIDS_RSS,         PIDS_TICS_BEGAN, PIDS_ID_EUID};

void libproc2(benchmark::State& state) {
  pids_info* info = nullptr;
  procps_pids_new(&info, ITEMS, sizeof ITEMS / sizeof *ITEMS);
  bench::snapshots(state, [info] {
    const pids_fetch* fetched = procps_pids_reap(info, PIDS_FETCH_TASKS_ONLY);
    return fetched ? static_cast<long>(fetched->counts->total) : 0;
  });
  procps_pids_unref(&info);
}

void byName(benchmark::State& state) {
  pids_item items[] = {PIDS_ID_TGID, PIDS_CMD};
  pids_info* info = nullptr;
  procps_pids_new(&info, items, 2);
  bench::snapshots(state, [info] {
    const pids_fetch* fetched = procps_pids_reap(info, PIDS_FETCH_TASKS_ONLY);
    for (int i = 0; fetched && i < fetched->counts->total; ++i)
      if (std::strcmp(fetched->stacks[i]->head[1].result.str, "no such process") == 0) return 0L;
    return fetched ? static_cast<long>(fetched->counts->total) : 0;
  });
  procps_pids_unref(&info);
}

BENCHMARK(libproc2)->Name("processes/libproc2")->UseRealTime();
BENCHMARK(byName)->Name("processes.name/libproc2")->UseRealTime();

}  // namespace
