#include <gio/gio.h>

#include "bench/processes/Spawn.h"

namespace {

bool run() {
  GSubprocess* process =
      g_subprocess_new(static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_PIPE | G_SUBPROCESS_FLAGS_STDERR_MERGE),
                       nullptr, "/bin/true", nullptr);
  if (!process) return false;
  GBytes* output = nullptr;
  const bool done = g_subprocess_communicate(process, nullptr, nullptr, &output, nullptr, nullptr) &&
                    g_subprocess_get_successful(process);
  if (output) g_bytes_unref(output);
  g_object_unref(process);
  return done;
}

[[maybe_unused]] const bool s_registered = [] {
  bench::spawns("GSubprocess", run);
  return true;
}();

}  // namespace
