#include "corvane/platform/Bundles.h"

#include <elf.h>
#include <errno.h>
#include <fcntl.h>
#include <gio/gdesktopappinfo.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/linux/GLibSupport.h"
#include "corvane/linux/process/DeletedRemark.h"

namespace corvane {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t MAX_INFO_BYTES = 16U << 20;

// A regular file that is open for reading. Reading beyond its end fails.
class InputFile {
 public:
  static Result<InputFile> open(const std::string& path) {
    auto file = openForReading(path);
    if (!file) return tl::unexpected(file.error());
    struct stat status {};
    if (fstat(file->get(), &status) != 0) return fileFailure(path, errno);
    if (!S_ISREG(status.st_mode)) return failure("bundle", 0, path + " is not a regular file");
    return InputFile(std::move(*file), static_cast<std::uint64_t>(status.st_size));
  }

  std::uint64_t size() const { return m_size; }

  // Reads all of the bytes, or returns false.
  bool read(std::uint64_t offset, void* bytes, std::uint64_t length) const {
    auto* to = static_cast<char*>(bytes);
    while (length > 0) {
      const ssize_t got = uninterrupted([&] { return pread(m_file.get(), to, length, static_cast<off_t>(offset)); });
      if (got <= 0) return false;
      to += got;
      offset += static_cast<std::uint64_t>(got);
      length -= static_cast<std::uint64_t>(got);
    }
    return true;
  }

  std::optional<std::string> text(std::uint64_t offset, std::uint64_t length) const {
    if (length > MAX_INFO_BYTES || offset > m_size || length > m_size - offset) return std::nullopt;
    std::string bytes(length, '\0');
    return read(offset, bytes.data(), length) ? std::optional(std::move(bytes)) : std::nullopt;
  }

 private:
  InputFile(FileDescriptor file, std::uint64_t size) : m_file(std::move(file)), m_size(size) {}

  FileDescriptor m_file;
  std::uint64_t m_size;
};

std::optional<std::string> contents(const fs::path& path) {
  const auto file = InputFile::open(path);
  return file ? file->text(0, file->size()) : std::nullopt;
}

using Info = Result<std::optional<std::string>>;

// The content of an ELF file's section .info_plist. The file may be hostile: everything in it is checked.
template <class Header, class Section>
Info infoSection(const InputFile& file) {
  const auto damaged = [](const char* what) {
    return failure("bundle", 0, std::string("Damaged executable: ") + what);
  };
  static constexpr std::string_view NAME{".info_plist\0", 12};

  Header header{};
  if (!file.read(0, &header, sizeof header)) return damaged("no header");
  if (header.e_shoff == 0 || header.e_shnum == 0) return std::nullopt;
  if (header.e_shentsize != sizeof(Section)) return damaged("section headers of an unknown kind");
  std::vector<Section> sections(header.e_shnum);
  if (!file.read(header.e_shoff, sections.data(), sections.size() * sizeof(Section)))
    return damaged("no section headers");
  if (header.e_shstrndx >= sections.size()) return damaged("no section names");
  const Section& names = sections[header.e_shstrndx];
  if (names.sh_offset > file.size()) return damaged("section names beyond its end");

  for (const Section& section : sections) {
    std::array<char, NAME.size()> name{};
    if (section.sh_name > names.sh_size || NAME.size() > names.sh_size - section.sh_name) continue;
    if (!file.read(names.sh_offset + section.sh_name, name.data(), name.size())) continue;
    if (std::string_view(name.data(), name.size()) != NAME) continue;
    if (section.sh_type == SHT_NOBITS || (section.sh_flags & SHF_COMPRESSED) != 0)
      return damaged("the information dictionary has no bytes");
    auto bytes = file.text(section.sh_offset, section.sh_size);
    if (!bytes) return damaged("the information dictionary lies beyond its end or is too large");
    return bytes;
  }
  return std::nullopt;
}

// The dictionary inside an executable; std::nullopt for files that are not ELF files with this machine's byte order.
Info embeddedInfo(const InputFile& file) {
  constexpr unsigned char NATIVE = std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
  std::array<unsigned char, EI_NIDENT> ident{};
  if (!file.read(0, ident.data(), ident.size()) || std::memcmp(ident.data(), ELFMAG, SELFMAG) != 0 ||
      ident[EI_DATA] != NATIVE)
    return std::nullopt;
  switch (ident[EI_CLASS]) {
    case ELFCLASS64:
      return infoSection<Elf64_Ehdr, Elf64_Shdr>(file);
    case ELFCLASS32:
      return infoSection<Elf32_Ehdr, Elf32_Shdr>(file);
    default:
      return std::nullopt;
  }
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
  if (folder.filename() == "bin") {
    const fs::path shared = folder.parent_path() / "share" / name;
    if ((files.info = contents(shared / "Info.plist"))) {
      files.resources = shared;
      return files;
    }
  }
  if ((files.info = contents(fs::path(files.resources) / "Info.plist"))) return files;

  const auto file = InputFile::open(image);
  if (!file) return tl::unexpected<Error>(file.error());
  auto info = embeddedInfo(*file);
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
