#include "corvane/linux/desktop/SharedFolder.h"

#include <dlfcn.h>

#include <filesystem>

namespace corvane {

namespace fs = std::filesystem;

std::string sharedFolder(const std::string& file, const std::string& name) {
  std::error_code error;
  const fs::path path = fs::canonical(file, error);
  for (fs::path above = path.parent_path(); above.has_relative_path(); above = above.parent_path())
    if (fs::path folder = above / "share" / name; fs::is_directory(folder, error)) return folder;
  return {};
}

std::string librarysFolder(const std::string& name) {
  static constexpr char INSIDE = 0;
  Dl_info library{};
  return dladdr(&INSIDE, &library) != 0 && library.dli_fname ? sharedFolder(library.dli_fname, name) : std::string();
}

}  // namespace corvane
