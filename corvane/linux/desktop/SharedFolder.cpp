#include "corvane/linux/desktop/SharedFolder.h"

#include <dlfcn.h>
#include <link.h>

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
  link_map* loaded = nullptr;
  if (dladdr1(&INSIDE, &library, reinterpret_cast<void**>(&loaded), RTLD_DL_LINKMAP) == 0) return {};
  // A program that contains the library has no name there.
  return sharedFolder(*loaded->l_name != '\0' ? loaded->l_name : "/proc/self/exe", name);
}

}  // namespace corvane
