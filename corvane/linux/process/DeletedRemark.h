#pragma once

#include <sys/stat.h>

#include <string_view>

namespace corvane {

/// The kernel appends this to the target of a link in /proc whose file has been deleted or replaced.
constexpr std::string_view DELETED_REMARK = " (deleted)";

/// Whether the target of such a link, relative to a folder's descriptor, ends with the remark; a file may also have
/// such a name.
inline bool bearsDeletedRemark(int folder, const char* link, const char* target) {
  if (!std::string_view(target).ends_with(DELETED_REMARK)) return false;
  struct stat opened {};
  struct stat named {};
  return fstatat(folder, link, &opened, 0) != 0 || stat(target, &named) != 0 || opened.st_dev != named.st_dev ||
         opened.st_ino != named.st_ino;
}

}  // namespace corvane
