#pragma once

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace corvane {

/// A real HTTP server on a port of loopback. Add handlers to `routes()`, then start() it; it ends with the scope.
template <class Server = httplib::Server>
class HttpServer {
 public:
  template <class... Arguments>
  explicit HttpServer(Arguments&&... arguments) : m_server(std::forward<Arguments>(arguments)...) {
    // A thread serves a kept connection until that is closed.
    m_server.new_task_queue = [this] {
      auto* pool = new httplib::ThreadPool(80);
      m_ready = true;
      return pool;
    };
    m_server.set_keep_alive_timeout(1);
    m_server.set_keep_alive_max_count(10'000);
    m_server.set_tcp_nodelay(true);
  }

  ~HttpServer() {
    m_server.stop();
    if (m_thread.joinable()) m_thread.join();
  }

  Server& routes() { return m_server; }

  void start() {
    m_port = m_server.bind_to_any_port("127.0.0.1");
    if (m_port <= 0) throw std::runtime_error("no port for the server");
    m_thread = std::thread([this] { m_server.listen_after_bind(); });
    while (!m_ready) std::this_thread::yield();  // before, stop() has no effect and threads are still to come
  }

  int port() const { return m_port; }

  std::string url(std::string_view path, std::string_view scheme = "http") const {
    return std::string(scheme) + "://127.0.0.1:" + std::to_string(m_port) + std::string(path);
  }

 private:
  Server m_server;
  int m_port = 0;
  std::atomic<bool> m_ready = false;
  std::thread m_thread;
};

/// A server without manners: it hands each connection to a function, on a thread of its own, and closes it afterwards.
class RawServer {
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

  explicit RawServer(std::function<void(Connection&)> serve) : m_serve(std::move(serve)) {
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
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

  ~RawServer() {
    shutdown(m_listener, SHUT_RDWR);
    m_acceptor.join();
    close(m_listener);
    for (std::thread& thread : m_threads) thread.join();
  }

  std::string url(std::string_view path = "/") const {
    return "http://127.0.0.1:" + std::to_string(m_port) + std::string(path);
  }

 private:
  void accept() {
    for (int client = 0; (client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;)
      m_threads.emplace_back([this, client] {
        Connection connection(client);
        m_serve(connection);
        close(client);
      });
  }

  const std::function<void(Connection&)> m_serve;
  int m_listener = -1;
  int m_port = 0;
  std::thread m_acceptor;
  std::vector<std::thread> m_threads;
};

}  // namespace corvane
