#pragma once

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <string>

#include "bench/log/Log.h"

namespace bench {

/// Keys in the settings that are read and written.
inline constexpr int SETTINGS = 100;

inline std::string settingName(int number) {
  return "window.setting" + std::to_string(number);
}

/// A folder that all peers take for the user's configuration, until the end of the scope.
class ConfigurationFolder {
 public:
  ConfigurationFolder() {
    setenv("HOME", m_folder.path().c_str(), 1);
    setenv("XDG_CONFIG_HOME", m_folder.path().c_str(), 1);
  }
  const std::string& path() const { return m_folder.path(); }

 private:
  const TemporaryFolder m_folder;
};

}  // namespace bench

#define CORVANE_BENCH_SETTINGS(read, write, name) \
  BENCHMARK(read)->Name("settings.read/" name);   \
  BENCHMARK(write)->Name("settings.write/" name)->Iterations(20000)->UseRealTime()
