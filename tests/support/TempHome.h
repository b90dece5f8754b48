#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

namespace fs = std::filesystem;

/// What a file holds; nothing if it cannot be read.
inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The names in a folder, sorted.
inline std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::ranges::sort(names);
  return names;
}

/// A home folder in a temporary folder, in force until the end of the scope: HOME and the XDG folders lie inside it,
/// and neither a session bus nor a display can be found. Make it before anything else: GLib reads these variables once
/// per process, so a test program whose cases need different homes runs each in a process of its own, as CTest does.
class TempHome {
 public:
  TempHome() {
    std::string name = (fs::temp_directory_path() / "corvane-test-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder: " + name);
    m_path = fs::canonical(name);
    fs::create_directory(m_path / "run");
    fs::permissions(m_path / "run", fs::perms::owner_all);
    set("HOME", m_path.c_str());
    set("XDG_CONFIG_HOME", (m_path / ".config").c_str());
    set("XDG_DATA_HOME", (m_path / ".local/share").c_str());
    set("XDG_CACHE_HOME", (m_path / ".cache").c_str());
    set("XDG_STATE_HOME", (m_path / ".local/state").c_str());
    set("XDG_RUNTIME_DIR", (m_path / "run").c_str());
    for (const char* variable : {"DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP"})
      set(variable, nullptr);
  }

  ~TempHome() {
    for (const auto& [name, value] : m_previous) {
      if (value)
        setenv(name.c_str(), value->c_str(), 1);
      else
        unsetenv(name.c_str());
    }
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }

  TempHome(const TempHome&) = delete;
  TempHome& operator=(const TempHome&) = delete;

  /// The folder; its name has no symbolic links.
  const fs::path& path() const { return m_path; }

  /// Path of something below the folder.
  std::string operator/(std::string_view name) const { return (m_path / name).string(); }

  /// Writes a file below the folder, with the folders that lead to it; its path.
  std::string write(std::string_view name, std::string_view content, mode_t mode = 0644) const {
    const fs::path file = m_path / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    if (chmod(file.c_str(), mode) != 0) throw std::runtime_error("cannot write " + file.string());
    return file.string();
  }

  /// Sets an environment variable, or unsets it with a null value, until the end of the scope.
  void set(const char* name, const char* value) {
    const char* previous = std::getenv(name);
    m_previous.try_emplace(name, previous ? std::optional<std::string>(previous) : std::nullopt);
    if (value)
      setenv(name, value, 1);
    else
      unsetenv(name);
  }

  /// Makes the locale en_US.UTF-8 there and has the C library look for it: it may translate nothing in C.UTF-8, and no
  /// other one is sure to be on the machine.
  void installLocale() {
    if (std::system(("localedef -i en_US -f UTF-8 " + *this / "en_US.UTF-8").c_str()) != 0)
      throw std::runtime_error("localedef failed");
    set("LOCPATH", m_path.c_str());
  }

 private:
  fs::path m_path;
  std::map<std::string, std::optional<std::string>> m_previous;
};

}  // namespace corvane
