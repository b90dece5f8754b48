#include "corvane/linux/helper/service/RootFolder.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>

#include "corvane/linux/desktop/EmbeddedInfo.h"

namespace corvane {

namespace {

constexpr mode_t OTHERS_WRITE = S_IWGRP | S_IWOTH;
constexpr std::uint64_t MAX_CONTENT = std::uint64_t{1} << 20;
constexpr char LOCK[] = ".lock";
// No names of helpers, and none that the bus or polkit would read.
constexpr std::string_view STAGED_BEGIN = ".";
constexpr std::string_view STAGED_END = ".corvane-new";

std::string stagedName(const std::string& name) {
  return std::string(STAGED_BEGIN) + name + std::string(STAGED_END);
}

FileDescriptor openIn(int folder, const char* name, int flags, mode_t mode = 0) {
  return FileDescriptor(
      uninterrupted([&] { return openat(folder, name, flags | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, mode); }));
}

// Success if the open file is root's alone and of this kind.
Result<void> checkOwner(int file, mode_t kind, const std::string& path) {
  struct stat status {};
  if (fstat(file, &status) != 0) return fileFailure(path, errno);
  if ((status.st_mode & S_IFMT) != kind)
    return failure("helper", 0, path + (kind == S_IFDIR ? " is not a folder" : " is not a regular file"));
  if (status.st_uid != 0 || (status.st_mode & OTHERS_WRITE) != 0)
    return failure("helper", 0, path + " does not belong to root alone");
  return {};
}

}  // namespace

Result<RootFolder> RootFolder::open(const std::string& path) {
  FileDescriptor folder = openIn(AT_FDCWD, "/", O_RDONLY | O_DIRECTORY);
  std::size_t begin = 1;
  for (;;) {
    const std::string here = path.substr(0, std::max<std::size_t>(begin - 1, 1));
    if (folder.get() < 0) return fileFailure(here, errno);
    const auto owned = checkOwner(folder.get(), S_IFDIR, here);
    if (!owned) return tl::unexpected(owned.error());
    if (begin > path.size()) return RootFolder(std::move(folder), path);
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const std::string name = path.substr(begin, end - begin);
    FileDescriptor next = openIn(folder.get(), name.c_str(), O_RDONLY | O_DIRECTORY);
    if (next.get() < 0 && errno == ENOENT) {
      if (mkdirat(folder.get(), name.c_str(), 0755) != 0 && errno != EEXIST)
        return fileFailure(path.substr(0, end), errno);
      next = openIn(folder.get(), name.c_str(), O_RDONLY | O_DIRECTORY);
    }
    folder = std::move(next);
    begin = end + 1;
  }
}

Result<FileDescriptor> RootFolder::file(const std::string& name) const {
  FileDescriptor file = openIn(descriptor(), name.c_str(), O_RDONLY);
  if (file.get() < 0) {
    if (errno == ENOENT) return file;
    return fileFailure(m_path + "/" + name, errno);
  }
  const auto owned = checkOwner(file.get(), S_IFREG, m_path + "/" + name);
  if (!owned) return tl::unexpected(owned.error());
  return file;
}

Result<std::optional<std::string>> RootFolder::content(const std::string& name) const {
  const auto opened = file(name);
  if (!opened) return tl::unexpected(opened.error());
  if (opened->get() < 0) return std::nullopt;
  const auto size = regularSize(opened->get());
  auto bytes = size && *size <= MAX_CONTENT ? infoBytes(opened->get(), 0, *size) : std::nullopt;
  if (!bytes) return failure("helper", 0, m_path + "/" + name + " cannot be read");
  return bytes;
}

Result<std::vector<std::string>> RootFolder::names() const {
  // A descriptor of its own: the position in the folder is shared by copies.
  FileDescriptor own = openIn(descriptor(), ".", O_RDONLY | O_DIRECTORY);
  const std::unique_ptr<DIR, int (*)(DIR*)> list(own.get() < 0 ? nullptr : fdopendir(own.get()), closedir);
  if (!list) return fileFailure(m_path, errno);
  own.release();
  std::vector<std::string> names;
  while (const dirent* entry = readdir(list.get())) names.emplace_back(entry->d_name);
  return names;
}

Result<void> RootFolder::remove(const std::string& name) const {
  if (unlinkat(descriptor(), name.c_str(), 0) != 0 && errno != ENOENT) return fileFailure(m_path + "/" + name, errno);
  return {};
}

void RootFolder::removeAbandoned() const {
  for (const std::string& name : names().value_or(std::vector<std::string>()))
    if (name.starts_with(STAGED_BEGIN) && name.ends_with(STAGED_END)) remove(name);
}

Result<FileDescriptor> RootFolder::lock() const {
  // Nobody else can open it, and so nobody else can hold it.
  FileDescriptor file = openIn(descriptor(), LOCK, O_RDWR | O_CREAT, 0600);
  if (file.get() < 0 || uninterrupted([&] { return flock(file.get(), LOCK_EX); }) != 0)
    return fileFailure(m_path + "/" + LOCK, errno);
  return file;
}

Result<StagedFile> StagedFile::create(const RootFolder& folder, std::string name, mode_t mode,
                                      const std::function<bool(int)>& write) {
  const std::string path = folder.path() + "/" + name;
  const std::string staged = stagedName(name);
  const auto removed = folder.remove(staged);
  if (!removed) return tl::unexpected(removed.error());
  const FileDescriptor file = openIn(folder.descriptor(), staged.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
  if (file.get() < 0) return fileFailure(path, errno);
  StagedFile result(folder, std::move(name));
  if (!write(file.get()) || fchown(file.get(), 0, 0) != 0 || fchmod(file.get(), mode) != 0 ||
      uninterrupted([&] { return fsync(file.get()); }) != 0)
    return fileFailure(path, errno);
  return result;
}

Result<StagedFile> StagedFile::copy(const RootFolder& folder, std::string name, int source, mode_t mode) {
  return create(folder, std::move(name), mode, [source](int file) {
    std::array<char, std::size_t{64} << 10> part{};
    for (off_t at = 0;;) {
      const ssize_t got = uninterrupted([&] { return pread(source, part.data(), part.size(), at); });
      if (got <= 0) return got == 0;
      if (!writeAll(file, {part.data(), static_cast<std::size_t>(got)})) return false;
      at += got;
    }
  });
}

Result<StagedFile> StagedFile::text(const RootFolder& folder, std::string name, std::string_view content, mode_t mode) {
  return create(folder, std::move(name), mode, [content](int file) { return writeAll(file, content); });
}

StagedFile::StagedFile(StagedFile&& other) noexcept
    : m_folder(other.m_folder), m_name(std::move(other.m_name)), m_isPending(std::exchange(other.m_isPending, false)) {}

StagedFile::~StagedFile() {
  if (m_isPending) m_folder->remove(stagedName(m_name));
}

Result<void> StagedFile::commit() {
  const int folder = m_folder->descriptor();
  if (renameat(folder, stagedName(m_name).c_str(), folder, m_name.c_str()) != 0)
    return fileFailure(m_folder->path() + "/" + m_name, errno);
  m_isPending = false;
  uninterrupted([folder] { return fsync(folder); });
  return {};
}

Result<FileIdentity> identityOf(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) return systemFailure(errno);
  return FileIdentity{status.st_dev, status.st_ino};
}

}  // namespace corvane
