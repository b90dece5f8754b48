#include "corvane/platform/Bundles.h"

#include <fcntl.h>
#include <gio/gdesktopappinfo.h>

#include <filesystem>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/linux/desktop/EmbeddedInfo.h"
#include "corvane/linux/desktop/SharedFolder.h"
#include "corvane/linux/process/DeletedRemark.h"

namespace corvane {

namespace {

namespace fs = std::filesystem;

// A regular file, open for reading.
Result<FileDescriptor> openRegular(const std::string& path) {
  auto file = openForReading(path);
  if (!file) return file;
  const auto size = regularSize(file->get());
  if (!size) return failure(size.error().domain, size.error().code, path + ": " + size.error().description);
  return file;
}

std::optional<std::string> contents(const fs::path& path) {
  const auto file = openRegular(path);
  return file ? infoBytes(file->get(), 0, regularSize(file->get()).value_or(0)) : std::nullopt;
}

// The bundle of the executable at a path without symbolic links; its bytes are read from `image`.
Result<BundleFiles> bundleOf(const fs::path& executable, const std::string& image) {
  const fs::path folder = executable.parent_path();
  const std::string name = executable.filename();
  BundleFiles files{folder, executable, (folder / (name + ".resources")).string(), std::nullopt};

  if (folder.filename() == "MacOS" && folder.parent_path().filename() == "Contents") {
    const fs::path wrapped = folder.parent_path();
    if (auto info = contents(wrapped / "Info.plist"))
      return BundleFiles{wrapped.parent_path(), executable, wrapped / "Resources", std::move(info)};
  }
  if (folder.filename() == "bin" || folder.filename() == "libexec") {
    const fs::path shared = folder.parent_path() / "share" / name;
    if ((files.info = contents(shared / "Info.plist"))) {
      files.resources = shared;
      return files;
    }
  }
  if ((files.info = contents(fs::path(files.resources) / "Info.plist"))) return files;

  const auto file = openRegular(image);
  if (!file) return tl::unexpected<Error>(file.error());
  auto info = embeddedInfo(file->get());
  if (!info)
    return tl::unexpected<Error>(
        Error{info.error().domain, info.error().code, executable.string() + ": " + info.error().description});
  files.info = std::move(*info);
  return files;
}

// The bundle of the program that a desktop entry starts, as far as it can be determined.
Result<BundleFiles> bundleOfEntry(const fs::path& entry) {
  std::error_code ignored;
  const glib::Ptr<GDesktopAppInfo> info(
      fs::is_regular_file(entry, ignored) ? g_desktop_app_info_new_from_filename(entry.c_str()) : nullptr);
  if (!info) return failure("bundle", 0, entry.string() + " is not the desktop entry of an installed application");
  const char* const command = g_app_info_get_executable(G_APP_INFO(info.get()));
  const glib::Ptr<gchar> program(command ? g_find_program_in_path(command) : nullptr);
  const fs::path executable = program ? fs::canonical(program.get(), ignored) : fs::path();
  BundleFiles files = bundleOf(executable, executable).value_or(BundleFiles{{}, executable, {}, std::nullopt});
  files.path = entry;
  return files;
}

// The wrapper's executable with the same name, or its only one.
std::string executableOf(const fs::path& wrapper) {
  std::error_code ignored;
  std::vector<fs::path> found;
  for (fs::directory_iterator entry(wrapper / "Contents/MacOS", ignored), end; !ignored && entry != end;
       entry.increment(ignored)) {
    if (!entry->is_regular_file(ignored)) continue;
    if (entry->path().filename() == wrapper.stem()) return entry->path();
    found.push_back(entry->path());
  }
  return found.size() == 1 ? found.front().string() : std::string();
}

class LinuxBundles : public Bundles {
 public:
  BundleFiles mainBundle() override {
    const char* self = "/proc/self/exe";
    std::error_code error;
    std::string executable = fs::read_symlink(self, error);
    if (error) return {};
    if (bearsDeletedRemark(AT_FDCWD, self, executable.c_str()))
      executable.resize(executable.size() - DELETED_REMARK.size());
    auto files = bundleOf(executable, self);
    if (files) return std::move(*files);
    const fs::path folder = fs::path(executable).parent_path();
    return {folder, executable, executable + ".resources", std::nullopt};
  }

  BundleFiles libraryBundle() override {
    const std::string folder = librarysFolder("corvane");
    return {folder, {}, folder, std::nullopt};
  }

  Result<BundleFiles> bundleAt(const std::string& path) override {
    std::error_code error;
    const fs::path found = fs::canonical(path, error);
    if (error) return failure("posix", error.value(), path + ": " + error.message());
    if (!fs::is_directory(found, error)) {
      const fs::path named = fs::absolute(path, error).lexically_normal();
      return named.extension() == ".desktop" ? bundleOfEntry(named) : bundleOf(found, found);
    }
    auto info = contents(found / "Contents/Info.plist");
    if (!info) return failure("bundle", 0, path + " is a folder without Contents/Info.plist");
    return BundleFiles{found, executableOf(found), found / "Contents/Resources", std::move(info)};
  }
};

}  // namespace

template <>
std::shared_ptr<Bundles> makeService<Bundles>() {
  return std::make_shared<LinuxBundles>();
}

}  // namespace corvane
