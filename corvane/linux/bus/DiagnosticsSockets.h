#pragma once

namespace corvane::diagnostics {

/// Owns a socket that only this process may hold, or none (negative): a forked child closes its copy, so that peers see
/// the end of this process when it ends. The child must not use or destroy the copy of the object. Any thread.
class OwnSocket {
 public:
  /// A Unix socket for streams, close-on-exec and non-blocking; none, and errno, if the system refuses.
  static OwnSocket make();
  /// The same for the next connection to a socket.
  static OwnSocket accept(int listening);

  OwnSocket(OwnSocket&& other) noexcept;
  ~OwnSocket();
  OwnSocket& operator=(OwnSocket&&) = delete;

  int get() const { return m_fd; }

 private:
  explicit OwnSocket(int fd) : m_fd(fd) {}
  int m_fd;
};

}  // namespace corvane::diagnostics
