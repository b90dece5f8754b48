// A program of its own: KConfig uses another major version of Qt than the rest.
#include <KConfig>
#include <KConfigGroup>

#include "bench/settings/Settings.h"

namespace {

struct Filled {
  const bench::ConfigurationFolder folder;
  KConfig config{QString::fromStdString(folder.path() + "/benchrc"), KConfig::SimpleConfig};
  KConfigGroup group{&config, "General"};
  const QString key = QString::fromStdString(bench::settingName(42));

  Filled() {
    for (int i = 0; i < bench::SETTINGS; ++i) group.writeEntry(QString::fromStdString(bench::settingName(i)), i);
    config.sync();
  }
};

void kconfigRead(benchmark::State& state) {
  const Filled filled;
  for (auto _ : state) benchmark::DoNotOptimize(filled.group.readEntry(filled.key, 0));
}

void kconfigWrite(benchmark::State& state) {
  Filled filled;
  int value = 0;
  for (auto _ : state) {
    filled.group.writeEntry(filled.key, ++value);
    filled.config.sync();
  }
}

CORVANE_BENCH_SETTINGS(kconfigRead, kconfigWrite, "KConfig, synced");

}  // namespace
