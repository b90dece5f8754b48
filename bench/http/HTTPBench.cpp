#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "bench/Measure.h"
#include "corvane/core/Mutex.h"
#include "corvane/infra/HTTP.h"

namespace {

constexpr std::size_t BODY = 1024;

// Answers every request on loopback with 1 KiB and keeps the connections; one thread for all of them.
class Server {
 public:
  Server() : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    if (bind(m_listener, generic, size) != 0 || listen(m_listener, 64) != 0 ||
        getsockname(m_listener, generic, &size) != 0)
      throw std::runtime_error("no port for the server");
    m_url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
    m_thread = std::thread([this] { serve(); });
  }

  ~Server() {
    shutdown(m_listener, SHUT_RDWR);
    m_thread.join();
    close(m_listener);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  const std::string& url() const { return m_url; }

 private:
  void serve() {
    const std::string answer =
        "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(BODY) + "\r\n\r\n" + std::string(BODY, 'x');
    std::vector<pollfd> descriptors{{m_listener, POLLIN, 0}};
    for (char request[4096];;) {
      poll(descriptors.data(), descriptors.size(), -1);
      for (std::size_t i = descriptors.size(); i-- > 1;) {
        if (descriptors[i].revents == 0) continue;
        if (recv(descriptors[i].fd, request, sizeof request, 0) > 0 &&
            send(descriptors[i].fd, answer.data(), answer.size(), MSG_NOSIGNAL) > 0)
          continue;
        close(descriptors[i].fd);
        descriptors.erase(descriptors.begin() + static_cast<std::ptrdiff_t>(i));
      }
      if (descriptors[0].revents == 0) continue;
      const int client = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) break;
      const int on = 1;
      setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
      descriptors.push_back({client, POLLIN, 0});
    }
    for (std::size_t i = 1; i < descriptors.size(); ++i) close(descriptors[i].fd);
  }

  const int m_listener;
  std::string m_url;
  std::thread m_thread;
};

void corvaneGet(benchmark::State& state) {
  const bench::OneProcessor one;
  const Server server;
  std::int64_t status = 0;
  std::string error;
  for (auto _ : state) {
    const auto body = corvane::geturldata(server.url(), 5000, status, error);
    if (!body || body->bytes.size() != BODY) state.SkipWithError("no answer");
  }
}

std::size_t receive(char* data, std::size_t, std::size_t size, void* body) {
  static_cast<std::string*>(body)->append(data, size);
  return size;
}

void perform(benchmark::State& state, CURL* handle, const std::string& url) {
  std::string body;
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, receive);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
  if (curl_easy_perform(handle) != CURLE_OK || body.size() != BODY) state.SkipWithError("no answer");
}

void curlKept(benchmark::State& state) {
  const bench::OneProcessor one;
  const Server server;
  CURL* handle = curl_easy_init();
  for (auto _ : state) perform(state, handle, server.url());
  curl_easy_cleanup(handle);
}

void curlFresh(benchmark::State& state) {
  const bench::OneProcessor one;
  const Server server;
  for (auto _ : state) {
    CURL* handle = curl_easy_init();
    perform(state, handle, server.url());
    curl_easy_cleanup(handle);
  }
}

// What a session on a thread of its own cannot do without: a byte wakes a thread that polls, which wakes the caller
// through a condition.
void handOvers(benchmark::State& state) {
  const bench::OneProcessor one;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return state.SkipWithError("socketpair");
  corvane::Mutex mutex;
  bool done = false;
  std::thread session([&] {
    pollfd descriptor{ends[1], POLLIN, 0};
    for (char byte = 0; poll(&descriptor, 1, -1) == 1 && read(ends[1], &byte, 1) == 1;)
      mutex.acquire_block([&] {
        done = true;
        mutex.broadcast();
      });
  });
  for (auto _ : state) {
    mutex.acquire_block([&]() CORVANE_NO_THREAD_SAFETY_ANALYSIS {
      if (write(ends[0], "", 1) != 1) state.SkipWithError("write");
      while (!done) mutex.wait();
      done = false;
    });
  }
  close(ends[0]);
  session.join();
  close(ends[1]);
}

BENCHMARK(corvaneGet)->Name("http.get/Corvane geturldata")->UseRealTime();
BENCHMARK(curlKept)->Name("http.get/libcurl easy handle kept open")->UseRealTime();
BENCHMARK(curlFresh)->Name("http.get/libcurl fresh handle")->UseRealTime();
BENCHMARK(handOvers)->Name("http.get/two hand-overs")->UseRealTime();

}  // namespace
