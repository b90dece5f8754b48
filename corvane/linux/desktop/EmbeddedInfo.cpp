#include "corvane/linux/desktop/EmbeddedInfo.h"

#include <elf.h>
#include <errno.h>
#include <sys/stat.h>

#include <array>
#include <bit>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"

namespace corvane {

namespace {

constexpr std::uint64_t MAX_INFO_BYTES = 16U << 20;

bool read(int file, std::uint64_t offset, void* bytes, std::uint64_t length) {
  return readAllAt(file, bytes, length, static_cast<off_t>(offset));
}

using Info = Result<std::optional<std::string>>;

template <class Header, class Section>
Info infoSection(int file) {
  const auto damaged = [](const char* what) {
    return failure("bundle", 0, std::string("Damaged executable: ") + what);
  };
  static constexpr std::string_view NAME{".info_plist\0", 12};

  const auto size = regularSize(file);
  Header header{};
  if (!size || !read(file, 0, &header, sizeof header)) return damaged("no header");
  if (header.e_shoff == 0 || header.e_shnum == 0) return std::nullopt;
  if (header.e_shentsize != sizeof(Section)) return damaged("section headers of an unknown kind");
  std::vector<Section> sections(header.e_shnum);
  if (!read(file, header.e_shoff, sections.data(), sections.size() * sizeof(Section)))
    return damaged("no section headers");
  if (header.e_shstrndx >= sections.size()) return damaged("no section names");
  const Section& names = sections[header.e_shstrndx];
  if (names.sh_offset > *size) return damaged("section names beyond its end");

  for (const Section& section : sections) {
    std::array<char, NAME.size()> name{};
    if (section.sh_name > names.sh_size || NAME.size() > names.sh_size - section.sh_name) continue;
    if (!read(file, names.sh_offset + section.sh_name, name.data(), name.size())) continue;
    if (std::string_view(name.data(), name.size()) != NAME) continue;
    if (section.sh_type == SHT_NOBITS || (section.sh_flags & SHF_COMPRESSED) != 0)
      return damaged("the information dictionary has no bytes");
    auto bytes = infoBytes(file, section.sh_offset, section.sh_size);
    if (!bytes) return damaged("the information dictionary lies beyond its end or is too large");
    return bytes;
  }
  return std::nullopt;
}

}  // namespace

Result<std::uint64_t> regularSize(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) return systemFailure(errno);
  if (!S_ISREG(status.st_mode)) return failure("bundle", 0, "not a regular file");
  return static_cast<std::uint64_t>(status.st_size);
}

std::optional<std::string> infoBytes(int file, std::uint64_t offset, std::uint64_t length) {
  const auto size = regularSize(file);
  if (!size || length > MAX_INFO_BYTES || offset > *size || length > *size - offset) return std::nullopt;
  std::string bytes(length, '\0');
  return read(file, offset, bytes.data(), length) ? std::optional(std::move(bytes)) : std::nullopt;
}

Info embeddedInfo(int file) {
  constexpr unsigned char NATIVE = std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
  std::array<unsigned char, EI_NIDENT> ident{};
  if (!read(file, 0, ident.data(), ident.size()) || std::memcmp(ident.data(), ELFMAG, SELFMAG) != 0 ||
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

}  // namespace corvane
