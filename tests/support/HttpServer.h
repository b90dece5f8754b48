#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace corvane {

/// A server on a port of loopback that may be slow, silent or rude: it hands each connection to a function, on a thread
/// of its own, and closes it afterwards, at the latest at the end of the scope.
class HttpServer {
 public:
  class Connection {
   public:
    explicit Connection(int socket) : m_socket(socket) {}

    /// What the client has sent up to the blank line; less if it closes before.
    std::string readHead() {
      std::string head;
      char c = 0;
      while (!head.ends_with("\r\n\r\n") && recv(m_socket, &c, 1, 0) == 1) head += c;
      return head;
    }

    std::string read(std::size_t size) {
      std::string bytes(size, '\0');
      if (size > 0 && recv(m_socket, bytes.data(), size, MSG_WAITALL) < 0) bytes.clear();
      return bytes;
    }

    /// False if the client has closed.
    bool send(std::string_view text) {
      return ::send(m_socket, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }

    /// Waits for the client to close; false if it does not within the limit.
    bool waitForClose(int msecs) {
      pollfd descriptor{m_socket, POLLIN, 0};
      char c = 0;
      return poll(&descriptor, 1, msecs) == 1 && recv(m_socket, &c, 1, 0) <= 0;
    }

   private:
    const int m_socket;
  };

  explicit HttpServer(std::function<void(Connection&)> serve) : m_serve(std::move(serve)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(m_listener, generic, size) != 0 || listen(m_listener, 128) != 0 ||
        getsockname(m_listener, generic, &size) != 0)
      throw std::runtime_error("no port for the server");
    m_port = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { accept(); });
  }

  ~HttpServer() {
    shutdown(m_listener, SHUT_RDWR);
    m_acceptor.join();
    close(m_listener);
    {
      const std::lock_guard lock(m_mutex);
      for (const int client : m_clients) shutdown(client, SHUT_RDWR);
    }
    m_threads.clear();
  }

  std::string url(std::string_view path = "/") const {
    return "http://127.0.0.1:" + std::to_string(m_port) + std::string(path);
  }

 private:
  void accept() {
    for (int client = 0; (client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
      const std::lock_guard lock(m_mutex);
      m_clients.insert(client);
      m_threads.emplace_back([this, client] {
        Connection connection(client);
        m_serve(connection);
        const std::lock_guard closing(m_mutex);
        m_clients.erase(client);
        close(client);
      });
    }
  }

  const std::function<void(Connection&)> m_serve;
  const int m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int m_port = 0;
  std::thread m_acceptor;
  std::mutex m_mutex;
  std::set<int> m_clients;
  std::vector<std::jthread> m_threads;
};

}  // namespace corvane
