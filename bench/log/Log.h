#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace bench {

/// A folder that exists until the end of the scope.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    if (!mkdtemp(m_path.data())) throw std::runtime_error("mkdtemp");
  }
  ~TemporaryFolder() { std::filesystem::remove_all(m_path); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return m_path; }

 private:
  std::string m_path = (std::filesystem::temp_directory_path() / "corvane-bench-XXXXXX").string();
};

/// With what each logger puts before it, a line of about 100 bytes.
inline constexpr char MESSAGE[] = "the quick brown fox jumps over the lazy dog, and once more";

/// Lines that go into one file: Corvane's log ends when the file is larger than 100,000 bytes.
inline constexpr int LINES = 900;

}  // namespace bench

#define CORVANE_BENCH_LOG(function, name) BENCHMARK(function)->Name("log/" name)->Iterations(300)->UseManualTime()
