#include <QSettings>

#include "bench/settings/Settings.h"

namespace {

void fill(QSettings& settings) {
  for (int i = 0; i < bench::SETTINGS; ++i) settings.setValue(QString::fromStdString(bench::settingName(i)), i);
  settings.sync();
}

void qtRead(benchmark::State& state) {
  const bench::ConfigurationFolder folder;
  QSettings settings(QString::fromStdString(folder.path() + "/bench.ini"), QSettings::IniFormat);
  fill(settings);
  const QString key = QString::fromStdString(bench::settingName(42));
  for (auto _ : state) benchmark::DoNotOptimize(settings.value(key, 0).toInt());
}

void qtWrite(benchmark::State& state) {
  const bench::ConfigurationFolder folder;
  QSettings settings(QString::fromStdString(folder.path() + "/bench.ini"), QSettings::IniFormat);
  fill(settings);
  const QString key = QString::fromStdString(bench::settingName(42));
  int value = 0;
  for (auto _ : state) {
    settings.setValue(key, ++value);
    settings.sync();
  }
}

CORVANE_BENCH_SETTINGS(qtRead, qtWrite, "QSettings, synced");

}  // namespace
