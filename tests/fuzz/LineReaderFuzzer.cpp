#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "corvane/infra/LineReader.h"

namespace {

constexpr std::size_t LIMIT = 1023;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

struct Sequence {
  std::size_t length;  // bytes
  bool valid;
};

// The character at the front of a text, or the maximal part of an ill-formed one (Unicode, tables 3-7 and 3-8).
Sequence sequenceAt(std::string_view text) {
  const auto at = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = at(0);
  if (lead < 0x80) return {1, true};
  if (lead < 0xC2 || lead > 0xF4) return {1, false};
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  const unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (std::size_t i = 1; i < length; ++i)
    if (i >= text.size() || at(i) < (i == 1 ? lowest : 0x80) || at(i) > (i == 1 ? highest : 0xBF)) return {i, false};
  return {length, true};
}

// A line is the piece up to a zero byte, with U+FFFD for each maximal part that is ill-formed.
void check(std::string_view piece, std::string_view line) {
  constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";
  piece = piece.substr(0, piece.find('\0'));
  while (!piece.empty()) {
    const auto [length, valid] = sequenceAt(piece);
    const std::string_view expected = valid ? piece.substr(0, length) : REPLACEMENT;
    require(line.starts_with(expected), "a character is lost or wrongly replaced");
    line.remove_prefix(expected.size());
    piece.remove_prefix(length);
  }
  require(line.empty(), "there is more than was read");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const int s_file = memfd_create("lines", MFD_CLOEXEC);
  static const std::string s_path = "/proc/self/fd/" + std::to_string(s_file);
  if (ftruncate(s_file, 0) != 0 || pwrite(s_file, bytes, size, 0) != static_cast<ssize_t>(size)) std::abort();

  std::string_view rest{reinterpret_cast<const char*>(bytes), size};
  corvane::LineReader reader(s_path);
  while (!rest.empty()) {
    const std::size_t feed = rest.find('\n');
    const std::size_t length = std::min(feed == rest.npos ? rest.size() : feed + 1, LIMIT);
    const auto line = reader.readline();
    require(line.has_value(), "a line is missing");
    check(rest.substr(0, length), *line);
    rest.remove_prefix(length);
  }
  require(!reader.readline(), "there is a line too many");
  return 0;
}
