#include "corvane/linux/store/DefaultsFiles.h"

#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "corvane/core/Files.h"
#include "corvane/core/Text.h"
#include "corvane/platform/Platform.h"

namespace corvane::defaults_files {

std::optional<Identity> Identity::at(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return Identity{status.st_dev, status.st_ino};
}

void keepPrivate(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && status.st_uid == geteuid() && (status.st_mode & 077) != 0) [[maybe_unused]]
    const int code = chmod(path.c_str(), status.st_mode & 0700);
}

Result<void> makeFolder(const std::string& path) {
  const auto make = [&path] { return mkdir(path.c_str(), 0700) == 0 ? 0 : errno; };
  int code = make();
  if (code == ENOENT) {
    if (auto made = makeFolder(std::filesystem::path(path).parent_path()); !made) return made;
    code = make();
  }
  std::error_code ignored;
  if (code == 0 || std::filesystem::is_directory(path, ignored)) return {};
  return fileFailure(path, code == EEXIST ? ENOTDIR : code);
}

namespace {

bool standsForItself(char c, bool first) {
  return static_cast<unsigned char>(c) >= 0x20 && c != 0x7f && c != '/' && c != '%' && !(first && c == '.');
}

}  // namespace

std::string fileNameOf(const std::string& domain) {
  std::string name;
  for (const char c : domain) {
    if (standsForItself(c, name.empty()))
      name += c;
    else
      appendPercentEscape(name, c);
  }
  return name;
}

std::optional<std::string> domainOf(std::string_view name) {
  std::string domain;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] != '%') {
      domain += name[i];
      continue;
    }
    if (i + 2 >= name.size()) return std::nullopt;
    const int high = g_ascii_xdigit_value(name[i + 1]);
    const int low = g_ascii_xdigit_value(name[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    domain += static_cast<char>(high * 16 + low);
    i += 2;
  }
  if (domain.empty() || fileNameOf(domain) != name) return std::nullopt;
  return domain;
}

Result<std::string> settingsFolder() {
  if (const char* path = std::getenv("XDG_CONFIG_HOME"); path && path[0] == '/') return path + std::string("/corvane");
  return platform().folders().home().map([](const std::string& home) { return home + "/.config/corvane"; });
}

}  // namespace corvane::defaults_files
