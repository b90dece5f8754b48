#include "corvane/linux/helper/service/Libraries.h"

#include <errno.h>
#include <link.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/linux/helper/HelperNames.h"

namespace corvane {

namespace {

namespace fs = std::filesystem;

using Segment = ElfW(Phdr);
using Entry = ElfW(Dyn);

constexpr std::size_t MAX_ENTRIES = 1024;
constexpr std::size_t MAX_TEXT = 4096;  // bytes of a list of folders

tl::unexpected<Error> refused(const std::string& why) {
  return failure("helper", 0, why);
}

// Whether only root can change what is at a path without links, or put something there.
bool isRootsAlone(const fs::path& path) {
  fs::path here;
  bool othersAdd = false;  // in the folder above
  for (const fs::path& name : path) {
    here /= name;
    struct stat status {};
    if (lstat(here.c_str(), &status) != 0) return errno == ENOENT && !othersAdd;
    if (status.st_uid != 0) return false;
    othersAdd = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    // Where others may add names, but not take those of root's files.
    if (othersAdd && (!S_ISDIR(status.st_mode) || (status.st_mode & S_ISVTX) == 0)) return false;
  }
  return !othersAdd;
}

// The same for any path; who can change a link on the way can change what is there.
Result<void> checkPlace(const std::string& path) {
  std::error_code error;
  if (!path.starts_with('/') || path.find('$') != std::string::npos)
    return refused("It loads libraries from a folder that is no absolute path: " + path);
  fs::path folder = "/";
  for (const fs::path& name : fs::path(path).relative_path()) {
    folder = fs::weakly_canonical(folder, error);
    if (error || !isRootsAlone(folder)) break;
    folder /= name;
  }
  folder = error ? folder : fs::weakly_canonical(folder, error);
  if (error || !isRootsAlone(folder))
    return refused("It loads libraries from where not only root can change them: " + path);
  return {};
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
  for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
  return text;
}

// A list of folders, as the loader reads it.
Result<void> checkPlaces(std::string_view list) {
  for (std::size_t begin = 0; begin <= list.size();) {
    const std::size_t end = std::min(list.find(':', begin), list.size());
    std::string place(list.substr(begin, end - begin));
    if (place.empty()) return refused("It loads libraries from the current folder");
    for (const char* origin : {"$ORIGIN", "${ORIGIN}"}) place = replaced(place, origin, helper_names::FOLDER);
    const auto checked = checkPlace(place);
    if (!checked) return checked;
    begin = end + 1;
  }
  return {};
}

// The parts of a program that its loader uses.
class Program {
 public:
  explicit Program(int file) : m_file(file) {}

  bool read() {
    ElfW(Ehdr) header{};
    if (!readAllAt(m_file, &header, sizeof header, 0) || (header.e_phnum > 0 && header.e_phentsize != sizeof(Segment)))
      return false;
    m_segments.resize(header.e_phnum);
    return at(header.e_phoff, m_segments.data(), m_segments.size() * sizeof(Segment));
  }

  const Segment* segment(ElfW(Word) type) const {
    for (const Segment& segment : m_segments)
      if (segment.p_type == type) return &segment;
    return nullptr;
  }

  std::optional<std::vector<Entry>> entries(const Segment& dynamic) const {
    if (dynamic.p_filesz > MAX_ENTRIES * sizeof(Entry)) return std::nullopt;
    std::vector<Entry> entries(dynamic.p_filesz / sizeof(Entry));
    if (!at(dynamic.p_offset, entries.data(), entries.size() * sizeof(Entry))) return std::nullopt;
    return entries;
  }

  // The text at a place of the loaded program.
  std::optional<std::string> text(ElfW(Addr) address) const {
    for (const Segment& segment : m_segments) {
      if (segment.p_type != PT_LOAD || address < segment.p_vaddr || address - segment.p_vaddr >= segment.p_filesz)
        continue;
      const auto skipped = address - segment.p_vaddr;
      std::string bytes(std::min<std::size_t>(segment.p_filesz - skipped, MAX_TEXT), '\0');
      if (!at(segment.p_offset + skipped, bytes.data(), bytes.size())) return std::nullopt;
      const std::size_t end = bytes.find('\0');
      return end == std::string::npos ? std::nullopt : std::optional(bytes.substr(0, end));
    }
    return std::nullopt;
  }

 private:
  bool at(std::uint64_t offset, void* bytes, std::size_t size) const {
    return readAllAt(m_file, bytes, size, static_cast<off_t>(offset));
  }

  const int m_file;
  std::vector<Segment> m_segments;
};

// Success also if the entry names nothing that is loaded from a certain place.
Result<void> checkEntry(const Program& program, const Entry& entry, ElfW(Addr) texts) {
  const bool isList =
      entry.d_tag == DT_RPATH || entry.d_tag == DT_RUNPATH || entry.d_tag == DT_AUDIT || entry.d_tag == DT_DEPAUDIT;
  if (!isList && entry.d_tag != DT_NEEDED) return {};
  const auto text = program.text(texts + entry.d_un.d_val);
  if (!text) return refused("It is damaged: its libraries have no names");
  if (entry.d_tag == DT_NEEDED && text->find('/') == std::string::npos) return {};
  return checkPlaces(*text);
}

}  // namespace

Result<void> checkLibraries(int file) {
  Program program(file);
  if (!program.read()) return refused("It is damaged: it has no segments");
  if (const Segment* const loader = program.segment(PT_INTERP)) {
    std::string path(std::min<std::size_t>(loader->p_filesz, MAX_TEXT), '\0');
    if (!readAllAt(file, path.data(), path.size(), static_cast<off_t>(loader->p_offset)))
      return refused("It is damaged: its loader has no name");
    const auto checked = checkPlace(path.substr(0, path.find('\0')));
    if (!checked) return checked;
  }
  const Segment* const dynamic = program.segment(PT_DYNAMIC);
  if (!dynamic) return {};
  const auto entries = program.entries(*dynamic);
  if (!entries) return refused("It is damaged: it has no list of libraries");
  ElfW(Addr) texts = 0;
  for (const Entry& entry : *entries)
    if (entry.d_tag == DT_STRTAB) texts = entry.d_un.d_ptr;
  for (const Entry& entry : *entries) {
    if (entry.d_tag == DT_NULL) break;
    const auto checked = checkEntry(program, entry, texts);
    if (!checked) return checked;
  }
  return {};
}

}  // namespace corvane
