#include "corvane/infra/Path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/core/Log.h"
#include "corvane/core/fatal.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/values/PropertyList.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

std::optional<std::string> made(Result<std::string> folder, const char* prefix) {
  folder = std::move(folder).and_then(makeFolders);
  if (folder) return std::move(*folder);
  logNotice(prefix + folder.error().description);
  return std::nullopt;
}

// Copies bytes to the same offset of another file; true, or false with errno. Copying fewer bytes is not a failure.
bool copyRange(int from, int to, off_t begin, off_t end) {
  std::vector<char> buffer(128 << 10);
  while (begin < end) {
    const auto length = std::min(static_cast<std::size_t>(end - begin), buffer.size());
    const ssize_t got = uninterrupted([&] { return ::pread(from, buffer.data(), length, begin); });
    if (got <= 0) return got == 0;
    if (::lseek(to, begin, SEEK_SET) < 0 || !writeAll(to, {buffer.data(), static_cast<std::size_t>(got)})) return false;
    begin += got;
  }
  return true;
}

// Copies the content of a file of this size, without its holes.
bool copyContent(int from, int to, off_t size) {
  for (off_t end = 0; end < size;) {
    off_t data = ::lseek(from, end, SEEK_DATA);
    if (data < 0 && errno == ENXIO) break;  // a hole to the end
    if (data < 0) data = end;               // the file system does not support this
    end = ::lseek(from, data, SEEK_HOLE);
    if (end < 0) end = size;
    if (!copyRange(from, to, data, end)) return false;
  }
  return uninterrupted([=] { return ::ftruncate(to, size); }) == 0;
}

Result<void> copyFile(const std::string& from, const std::string& to) {
  const auto source = openForReading(from);
  if (!source) return tl::unexpected(source.error());
  struct stat status {};
  if (::fstat(source->get(), &status) < 0) return fileFailure(from, errno);
  if (S_ISDIR(status.st_mode)) return fileFailure(from, EISDIR);
  if (!S_ISREG(status.st_mode)) return failure("posix", 0, from + ": not a regular file");
  // Checked first, so that nothing is copied in vain; claim() decides.
  struct stat existing {};
  if (::lstat(to.c_str(), &existing) == 0) return fileFailure(to, EEXIST);

  auto copy = PendingFile::create(to);
  if (!copy) return tl::unexpected(copy.error());
  if (!copyContent(source->get(), copy->descriptor(), status.st_size)) return fileFailure(to, errno);
  // As far as the file system supports them.
  const std::array times = {status.st_atim, status.st_mtim};
  ::fchmod(copy->descriptor(), status.st_mode & 0777);
  ::futimens(copy->descriptor(), times.data());
  return copy->claim();
}

}  // namespace

std::string Path::executablePath(const std::string& executable) {
  const auto bundle = Bundle::mainBundle();
  const bool isWrapper = std::filesystem::path(bundle->executablePath()).parent_path() != bundle->path();
  return bundle->path() + (isWrapper ? "/Contents/MacOS/" : "/") + executable;
}

std::optional<std::string> Path::scriptPath(const std::string& script) {
  return resourcePath(script, {});
}

std::optional<std::string> Path::resourcePath(const std::string& resource, const std::string& type) {
  return Bundle::mainBundle()->resource(type.empty() ? resource : resource + "." + type);
}

std::optional<Value::Dictionary> Path::propertyList(const std::string& path) {
  const auto list = readPropertyListFile(path);
  const Value::Dictionary* dictionary = list ? list->asDictionary() : nullptr;
  return dictionary ? std::optional(*dictionary) : std::nullopt;
}

std::optional<std::string> Path::launchAgentPath() {
  const auto below = [](const std::string& library) { return library + "/LaunchAgents"; };
  return made(platform().folders().library().map(below), "FindLaunchAgentPath: ");
}

std::optional<std::string> Path::cachePath() {
  const std::string identifier = Bundle::mainBundle()->requiredIdentifier("Path::cachePath");
  const auto below = [&](const std::string& caches) { return caches + "/" + identifier; };
  return made(platform().folders().caches().map(below), "FindCachePath: ");
}

std::optional<std::string> Path::appSupportPath() {
  return made(platform().folders().applicationSupport(), "FindAppSupportPath: ");
}

int CopyResourceFile(const std::string& name, const std::string& type, const std::string& dstdir, bool overwrite) {
  const std::string destination = dstdir + "/" + name + "." + type;
  if (!overwrite && ::access(destination.c_str(), F_OK) == 0) return -1;
  const auto resource = Path::resourcePath(name, type);
  if (!resource) fatal("CopyResourceFile: the main bundle has no resource " + name + "." + type);
  const auto copied = copyFile(*resource, destination);
  if (copied) return 0;
  logNotice("CopyResourceFile: " + copied.error().description);
  return -1;
}

}  // namespace corvane
