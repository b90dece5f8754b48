#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "corvane/core/Mutex.h"
#include "corvane/platform/Export.h"

namespace corvane {

/// The application's diagnostic log: a text file in the user's log folder with one time-stamped line per message,
/// rotated by size.
///
/// The file is $HOME/Library/Logs/IDENTIFIER/NAME.log, where IDENTIFIER is the main bundle's identifier and NAME is its
/// last part (a.b.App: App.log). A line is
///
///     2024/03/07 09:05:01.000123 4711 a.b.App the message
///
/// that is, local time, process id, identifier, message. Lines are written to the file whole and before log() returns,
/// even when several threads and processes write; a line for which the disk has no room is dropped. Nothing here fails,
/// waits for other processes or throws: a folder that cannot be created is reported on standard error, and lines are
/// dropped while no file is open. Logging is safe at any time, including in static destructors and exit handlers. Every
/// member: any thread.
class CORVANE_API Logger {
 public:
  /// A file larger than this many bytes is rotated.
  static constexpr std::int64_t MAX_LOG_SIZE = 100'000;
  /// Archives are numbered from 0 (the newest) to this number.
  static constexpr std::int64_t MAX_LOGS = 10;
  /// The name of the log file of an application without an identifier, which is never opened.
  static constexpr std::string_view TMP_LOG = "Tracewell.log";

  /// The shared logger. Created on first use, never destroyed.
  static std::shared_ptr<Logger> instance();

  /// The shared logger if there is one yet; otherwise null, and nothing is created.
  static std::shared_ptr<Logger> existing();

  /// Replaces the shared logger.
  static void setInstance(std::shared_ptr<Logger> logger);

  /// Opens the main bundle's log and writes "Logging begins for: " and the bundle's name. If the main bundle has no
  /// identifier, nothing is opened; if it has no name, the line is omitted.
  Logger();

  /// Closes the file without writing a last line; see close().
  ~Logger();

  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  /// Writes one line. White space and line breaks around the message are removed, and an empty message is not written.
  /// Line breaks inside the message remain. Fatal if the main bundle has no identifier.
  ///
  /// The line that makes the file larger than MAX_LOG_SIZE is the last one of this process: the file then becomes the
  /// archive NAME.log.0, older archives move up by one to at most NAME.log.10, the end of the log is reported on
  /// standard error, and the process logs nothing more until it is restarted. Other processes that have the file open
  /// notice this with their next line, which is their last one in the archive, and continue in a new file.
  void log(std::string_view message);

  /// Writes "Logging ends for: " and the bundle's name, syncs and closes the file; calling it again does nothing. Later
  /// lines are dropped.
  void close();

  /// Opens the log in the user's default application; waits at most 5 s for the desktop.
  void displayLog();

  /// Shows the log folder in the file browser; waits likewise.
  static void showInFinder();

  /// Path of the log file, whether or not it could be opened; std::nullopt if there is no folder for it.
  std::optional<std::string> path() const;

  /// Path of the log file of the application with an identifier, whether or not the file exists; nothing is created.
  /// The archives have the same name followed by a dot and their number. std::nullopt if there is no folder for it.
  static std::optional<std::string> path(const std::string& identifier);

  /// The number of lines that this object has written, including the first and the last one but not those that were
  /// dropped.
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
