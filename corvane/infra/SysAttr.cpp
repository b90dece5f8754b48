#include "corvane/infra/SysAttr.h"

#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <vector>

#include "corvane/core/fatal.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

// Far larger than any real entry; ends the growth if a database keeps asking for more room.
constexpr std::size_t MAX_ENTRY_BYTES = std::size_t{64} << 20;

constexpr struct {
  mode_t type;
  const char* text;
} KINDS[] = {
    {S_IFIFO, "Named pipe"},   {S_IFCHR, "Character special"}, {S_IFDIR, "Directory"}, {S_IFBLK, "Block special"},
    {S_IFREG, "Regular file"}, {S_IFLNK, "Symbolic link"},     {S_IFSOCK, "Socket"},   {0160000, "Whiteout"},
};

// Looks up an entry by its id and returns its name, or else the id. It starts with the system's size for entries:
// glibc's is usually enough, but a group with many members needs more.
template <class Entry>
std::string nameOf(id_t id, int (*lookup)(id_t, Entry*, char*, std::size_t, Entry**), char* Entry::*name,
                   int sizeOfEntries) {
  const long size = sysconf(sizeOfEntries);
  if (size < 0) fatal("SysAttr: the system reports no maximum size of user and group entries");
  std::vector<char> buffer(static_cast<std::size_t>(size));
  Entry entry{};
  Entry* found = nullptr;
  for (;;) {
    const int code = lookup(id, &entry, buffer.data(), buffer.size(), &found);
    if (code == EINTR) continue;
    if (code != ERANGE || buffer.size() >= MAX_ENTRY_BYTES) break;
    buffer.resize(buffer.size() * 2 + 1024);
  }
  return found ? found->*name : std::to_string(id);
}

}  // namespace

std::string SysAttr::username(uid_t id) {
  return nameOf<passwd>(id, getpwuid_r, &passwd::pw_name, _SC_GETPW_R_SIZE_MAX);
}

std::string SysAttr::groupname(gid_t id) {
  return nameOf<group>(id, getgrgid_r, &group::gr_name, _SC_GETGR_R_SIZE_MAX);
}

bool SysAttr::isdir(mode_t mode) {
  return S_ISDIR(mode);
}

std::string SysAttr::modeKind(mode_t mode) {
  for (const auto& kind : KINDS)
    if ((mode & S_IFMT) == kind.type) return platform().localization().text(kind.text);
  return {};
}

std::string SysAttr::modePermissions(mode_t mode) {
  std::string text = isdir(mode) ? "drwxrwxrwx" : "-rwxrwxrwx";
  for (std::size_t i = 1; i < text.size(); ++i)
    if ((mode & (0400U >> (i - 1))) == 0) text[i] = '-';
  return text;
}

}  // namespace corvane
