#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "corvane/core/Files.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// Reads a text file one line at a time, with little memory however large the file and its lines are.
///
///     corvane::LineReader reader("/etc/services");
///     while (const auto line = reader.readline()) use(*line);
///
/// For one thread at a time.
class CORVANE_API LineReader {
 public:
  /// Opens nothing yet.
  explicit LineReader(std::string path);

  /// The next line with its line feed; the last line of a file may have none. A carriage return is part of the line.
  /// std::nullopt at the end of the file, which remains the end even if the file grows; on a read error, including for
  /// a folder; and if the file cannot be opened. In the last case "Cannot open file: " and the path are logged (to
  /// standard error for an application without a log), and the next call tries again.
  ///
  /// A line of more than 1023 bytes comes in pieces of 1023 bytes over several calls, only the last of which ends with
  /// the line feed.
  ///
  /// Lines and pieces are C strings: anything after a zero byte, up to the line feed or the 1023rd byte, is not part of
  /// the result, so a line may be returned as an empty text. Bytes that are not UTF-8 become U+FFFD, one for each
  /// maximal ill-formed part (see repaired() in corvane/core/Text.h). This also applies to a character that is cut by
  /// the limit of 1023 bytes: it becomes one U+FFFD for its bytes in the first piece, and one for each of its bytes in
  /// the next.
  ///
  /// Opening a pipe does not wait for a writer: a pipe without a writer reads as an empty file. With a writer, reading
  /// waits for lines.
  std::optional<std::string> readline();

 private:
  bool open();
  bool readOn();

  std::string m_path;
  FileDescriptor m_file;
  std::array<char, 8192> m_buffer{};
  std::size_t m_begin = 0;  // of what was read and not yet returned
  std::size_t m_end = 0;    // of what was read
  bool m_ended = false;     // the file has no more
};

}  // namespace corvane
