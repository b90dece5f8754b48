#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// The application's diagnostic log: one text file in the user's log folder, one time-stamped line a message, rotated
/// by size.
///
/// The file is $HOME/Library/Logs/IDENTIFIER/NAME.log, where IDENTIFIER is the main bundle's identifier and NAME its
/// last part (a.b.App: App.log). A line is
///
///     2024/03/07 09:05:01.000123 4711 a.b.App the message
///
/// local time, process id, identifier, message. Lines reach the file before log() returns, whole, also when several
/// threads and processes write; if the disk has no room for a line it is dropped. Nothing here fails, waits for other
/// processes or throws: a folder that cannot be made is reported on standard error, and lines are dropped while no file
/// is open. Logging is safe at any time, also from static destructors and exit handlers. Every member: any thread.
class CORVANE_API Logger {
 public:
  /// A file larger than this many bytes is rotated.
  static constexpr std::int64_t MAX_LOG_SIZE = 100'000;
  /// Archives are numbered from 0 (newest) to this.
  static constexpr std::int64_t MAX_LOGS = 10;
  /// The name of the log file of an application without an identifier (which never opens one).
  static constexpr std::string_view TMP_LOG = "Tracewell.log";

  /// The shared logger. Made on first use, never destroyed.
  static std::shared_ptr<Logger> instance();

  /// Puts another in its place.
  static void setInstance(std::shared_ptr<Logger> logger);

  /// Opens the main bundle's log and writes "Logging begins for: " and the bundle's name. Without an identifier in the
  /// main bundle nothing is opened; without a name the line is left out.
  Logger();

  /// Closes the file without a last line; see close().
  ~Logger();

  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  /// Writes one line; white space and line breaks around the message are dropped, and an empty message is not written.
  /// Line breaks inside stay. Fatal if the main bundle has no identifier.
  ///
  /// The line that makes the file larger than MAX_LOG_SIZE is the last one of this process: the file then becomes the
  /// archive NAME.log.0, older archives move up by one to at most NAME.log.10, the end is reported on standard error,
  /// and the process writes no more until it is started again. Other processes that have the file open notice with
  /// their next line, which is the last one in the archive, and go on in a new file.
  void log(std::string_view message);

  /// Writes "Logging ends for: " and the bundle's name, syncs and closes the file; again does nothing. Later lines are
  /// dropped.
  void close();

  /// Opens the log in the user's default application for it; the desktop gets 5 s to answer.
  void displayLog();

  /// Shows the log folder in the file browser, likewise.
  static void showInFinder();

  /// Path of the log file, whether or not it could be opened; std::nullopt if there is no folder for it.
  std::optional<std::string> path() const;

  /// Path of the log file of the application with an identifier, whether or not it has one; nothing is created. Its
  /// archives bear the same name with a dot and their number behind it. std::nullopt if there is no folder for it.
  static std::optional<std::string> path(const std::string& identifier);

  /// Lines that this object has written, the first and the last one included; those that were dropped are not.
  std::int64_t lines() const;

 private:
  class File;

  static std::optional<std::string> findLogPath();
  void openLog() CORVANE_REQUIRES(m_mutex);
  void rotate() CORVANE_REQUIRES(m_mutex);
  void writeLine(std::string_view message) CORVANE_REQUIRES(m_mutex);

  std::string m_fname;
  std::string m_identifier;  // of the main bundle
  mutable Mutex m_mutex;
  std::unique_ptr<File> m_file CORVANE_GUARDED_BY(m_mutex);
  std::int64_t m_lines CORVANE_GUARDED_BY(m_mutex) = 0;
};

}  // namespace corvane
