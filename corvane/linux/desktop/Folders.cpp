#include "corvane/platform/Folders.h"

#include <errno.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <vector>

namespace corvane {

namespace {

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

class LinuxFolders : public Folders {
 public:
  Result<std::string> home() override {
    if (const char* path = std::getenv("HOME"); path && path[0] == '/') return withoutTrailingSlashes(path);
    std::vector<char> buffer(1024);
    passwd record{};
    passwd* found = nullptr;
    int code = 0;
    while ((code = getpwuid_r(getuid(), &record, buffer.data(), buffer.size(), &found)) == ERANGE)
      buffer.resize(buffer.size() * 2);
    if (!found || !found->pw_dir || found->pw_dir[0] != '/')
      return failure("posix", code, "The user's home folder is unknown");
    return withoutTrailingSlashes(found->pw_dir);
  }

  Result<std::string> library() override { return below("Library"); }
  Result<std::string> caches() override { return standard("XDG_CACHE_HOME", ".cache"); }
  Result<std::string> configuration() override { return standard("XDG_CONFIG_HOME", ".config"); }
  Result<std::string> applicationSupport() override { return standard("XDG_DATA_HOME", ".local/share"); }

 private:
  Result<std::string> below(const std::string& name) {
    return home().map([&name](const std::string& path) { return (path == "/" ? "" : path) + "/" + name; });
  }

  // XDG Base Directory: a relative path in the variable counts as unset.
  Result<std::string> standard(const char* variable, const std::string& fallback) {
    if (const char* path = std::getenv(variable); path && path[0] == '/') return withoutTrailingSlashes(path);
    return below(fallback);
  }
};

}  // namespace

template <>
std::shared_ptr<Folders> makeService<Folders>() {
  return std::make_shared<LinuxFolders>();
}

}  // namespace corvane
