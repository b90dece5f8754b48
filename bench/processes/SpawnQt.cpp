#include <QProcess>

#include "bench/processes/Spawn.h"

namespace {

bool run() {
  QProcess process;
  process.setProcessChannelMode(QProcess::MergedChannels);
  process.start("/bin/true", QStringList());
  if (!process.waitForFinished()) return false;
  process.readAll();
  return process.exitCode() == 0;
}

[[maybe_unused]] const bool s_registered = [] {
  bench::spawns("QProcess", run);
  return true;
}();

}  // namespace
