#include "corvane/linux/bus/DiagnosticsStream.h"

#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "corvane/core/Files.h"

namespace corvane::diagnostics {

namespace {

constexpr std::size_t CHUNK = std::size_t{64} << 10;
constexpr std::size_t HEADER = 16;  // bytes that tell a message's size

guchar* bytesOf(const std::string& text) {
  return reinterpret_cast<guchar*>(const_cast<char*>(text.data()));
}

}  // namespace

std::string userInHexadecimal() {
  std::string digits;
  for (const char digit : std::to_string(geteuid())) digits += {'3', digit};
  return digits;
}

sockaddr_un addressOf(int folder, const std::string& name) {
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  const std::string path = "/proc/self/fd/" + std::to_string(folder) + "/" + name;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

bool DiagnosticsStream::receive() {
  const std::size_t atFirst = m_input.size();
  while (m_input.size() < m_limit) {
    const std::size_t before = m_input.size();
    const std::size_t room = std::min(CHUNK, m_limit - before);
    m_input.resize(before + room);
    const ssize_t count = uninterrupted([&] { return recv(m_socket, m_input.data() + before, room, MSG_DONTWAIT); });
    const int code = errno;
    m_input.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count == 0 || (count < 0 && code != EAGAIN)) return before > atFirst;
    if (count < 0 || hasMessage()) break;
  }
  return true;
}

std::optional<std::string> DiagnosticsStream::takeLine() {
  const std::size_t end = m_input.find("\r\n");
  if (end == std::string::npos) return std::nullopt;
  std::string line = m_input.substr(0, end);
  m_input.erase(0, end + 2);
  return line;
}

std::optional<char> DiagnosticsStream::takeByte() {
  if (m_input.empty()) return std::nullopt;
  const char byte = m_input.front();
  m_input.erase(0, 1);
  return byte;
}

gssize DiagnosticsStream::needed() const {
  return m_input.size() < HEADER ? 0 : g_dbus_message_bytes_needed(bytesOf(m_input), m_input.size(), nullptr);
}

bool DiagnosticsStream::hasMessage() const {
  const gssize size = needed();
  return size < 0 || static_cast<std::size_t>(size) > m_limit ||
         (size > 0 && static_cast<std::size_t>(size) <= m_input.size());
}

Result<glib::Ptr<GDBusMessage>> DiagnosticsStream::takeMessage() {
  if (!hasMessage()) return nullptr;
  const gssize needed = this->needed();
  if (needed < 0) return failure("posix", EPROTO, "What arrives is not D-Bus");
  const auto size = static_cast<std::size_t>(needed);
  if (size > m_limit) return failure("posix", EMSGSIZE, "A message is larger than " + std::to_string(m_limit));
  GError* error = nullptr;
  glib::Ptr<GDBusMessage> message(
      g_dbus_message_new_from_blob(bytesOf(m_input), size, G_DBUS_CAPABILITY_FLAGS_NONE, &error));
  if (!message) {
    const auto why = glib::takeError(error);
    return failure("posix", EPROTO, why.value().description);
  }
  m_input.erase(0, size);
  return message;
}

Result<guint32> DiagnosticsStream::send(GDBusMessage* message, std::size_t limit) {
  g_dbus_message_set_serial(message, ++m_serial ? m_serial : ++m_serial);
  gsize size = 0;
  GError* error = nullptr;
  const glib::Ptr<gchar> blob(
      reinterpret_cast<gchar*>(g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, &error)));
  if (!blob) return glib::takeError(error);
  if (size > limit) return failure("posix", EMSGSIZE, "The message would have " + std::to_string(size) + " bytes");
  m_output.append(blob.get(), size);
  return m_serial;
}

bool DiagnosticsStream::flush() {
  while (hasOutput()) {
    const ssize_t count = uninterrupted([this] {
      return ::send(m_socket, m_output.data() + m_sent, m_output.size() - m_sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    });
    if (count < 0) return errno == EAGAIN;
    m_sent += static_cast<std::size_t>(count);
  }
  m_output = {};
  m_sent = 0;
  return true;
}

}  // namespace corvane::diagnostics
