#pragma once

#include <gio/gio.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/Result.h"

namespace corvane::diagnostics {

inline constexpr std::size_t MAX_CALL = std::size_t{64} << 10;   ///< bytes of a call
inline constexpr std::size_t MAX_REPLY = std::size_t{32} << 20;  ///< bytes of an answer

/// What a server with too many viewers sends, as a line, instead of authenticating one.
inline constexpr char FULL[] = "ERROR Too many viewers";

/// How the authentication spells this user: the digits of the id, each as the hexadecimal code of the character.
std::string userInHexadecimal();

/// The address of a socket in an open folder: paths of sockets may have only 107 bytes, and folders may be replaced.
sockaddr_un addressOf(int folder, const std::string& name);

/// One end of a D-Bus connection from peer to peer, without threads or queues behind its user's back: GDBus would read
/// messages of 128 MiB, keep answers for a peer that does not read, and authenticate on threads that it shares with the
/// rest of the process. Nothing here waits.
class DiagnosticsStream {
 public:
  /// `socket` must be non-blocking and outlive the stream; `limit` is the size of messages that it accepts.
  DiagnosticsStream(int socket, std::size_t limit) : m_socket(socket), m_limit(limit) {}

  /// Takes what has arrived, up to a message of the size limit. False if the peer has ended the connection.
  bool receive();

  /// A line of the authentication, without its end; std::nullopt if none is complete.
  std::optional<std::string> takeLine();
  /// std::nullopt if none has arrived.
  std::optional<char> takeByte();
  std::size_t received() const { return m_input.size(); }

  /// Whether takeMessage() does not return null.
  bool hasMessage() const;
  /// The next message; null if it is not complete. An Error for what is no D-Bus message, or too large.
  Result<glib::Ptr<GDBusMessage>> takeMessage();

  void send(std::string_view bytes) { m_output += bytes; }
  /// EMSGSIZE, with nothing sent, if it is larger than `limit`. Returns its serial number.
  Result<guint32> send(GDBusMessage* message, std::size_t limit);

  bool hasOutput() const { return m_sent < m_output.size(); }
  /// Writes as much as the socket takes. False if the peer has ended the connection.
  bool flush();

 private:
  // Size of the message that has begun to arrive; 0 if that is not known yet, negative for garbage.
  gssize needed() const;

  const int m_socket;
  const std::size_t m_limit;
  guint32 m_serial = 0;
  std::string m_input;
  std::string m_output;
  std::size_t m_sent = 0;  // of the output
};

}  // namespace corvane::diagnostics
