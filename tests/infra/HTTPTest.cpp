#include "corvane/infra/HTTP.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/wait.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <mutex>

#include "corvane/infra/PropertyList.h"
#include "corvane/platform/fake/FakePlatform.h"
#include "corvane/testing/ManualClock.h"
#include "tests/support/HttpServer.h"
#include "tests/support/TempHome.h"

namespace {

// A resolver that takes its time for one name.
std::mutex s_resolver;
std::condition_variable s_resolverChanged;
bool s_resolverHangs = false;
int s_resolving = 0;

}  // namespace

extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node, const char* service,
                                                                  const addrinfo* hints, addrinfo** result) {
  if (node && std::string_view(node) == "hanging.test") {
    std::unique_lock lock(s_resolver);
    ++s_resolving;
    s_resolverChanged.notify_all();
    s_resolverChanged.wait(lock, [] { return !s_resolverHangs; });
    --s_resolving;
    return EAI_AGAIN;
  }
  static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return real(node, service, hints, result);
}

namespace corvane {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::int64_t LONG = 30'000;                  // milliseconds: more than any test takes
constexpr milliseconds GENEROUS = milliseconds(5000);  // by how much a busy machine may miss a limit

std::string text(const std::optional<Data>& data) {
  return data ? std::string(data->bytes.begin(), data->bytes.end()) : "(none)";
}

Data data(std::string_view bytes) {
  return {{bytes.begin(), bytes.end()}};
}

// What a call gives; the outputs begin with values that no call gives.
struct Outcome {
  std::string body = "(none)";
  std::int64_t status = -7;
  std::string error = "untouched";
  HTTPResponse response{-7, "untouched", {}};
  milliseconds took{};
};

Outcome get(const std::string& url, std::int64_t msecs = LONG) {
  Outcome outcome;
  const auto begin = std::chrono::steady_clock::now();
  outcome.body = text(geturldataresponse(url, msecs, outcome.status, outcome.error, outcome.response));
  outcome.took = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
  return outcome;
}

Outcome post(const std::string& url, std::string_view body, const std::map<std::string, std::string>& headers = {},
             std::int64_t msecs = LONG) {
  Outcome outcome;
  outcome.body = text(posturl(url, data(body), headers, msecs, outcome.status, outcome.error));
  return outcome;
}

void expectLimit(const Outcome& outcome, std::int64_t msecs) {
  EXPECT_EQ(outcome.body, "(none)");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_GE(outcome.took, milliseconds(msecs));
  EXPECT_LT(outcome.took, milliseconds(msecs) + GENEROUS);
  std::printf("limit %d ms, took %d ms\n", static_cast<int>(msecs), static_cast<int>(outcome.took.count()));
}

std::size_t entries(const char* folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

struct HTTPTest : testing::Test {
  HTTPTest() {
    for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy",
                             "NO_PROXY", "SSL_CERT_FILE", "SSL_CERT_DIR"})
      home.set(name, nullptr);
    using httplib::Request;
    using httplib::Response;
    auto& routes = server.routes();
    const auto echo = [](const Request& request, Response& response) {
      std::string head = request.method + " " + request.path + "\n";
      const RawServer raw([](RawServer::Connection& connection) {
        connection.send("HTTP/1.0 200 OK\r\n\r\n" + connection.readHead());
      });
      EXPECT_THAT(post(raw.url(), "", {{"X-Empty", ""}}).body, HasSubstr("\r\nX-Empty:\r\n"));
      for (const auto& [name, value] : request.headers) head += name + ": " + value + "\n";
      response.set_content(head + "\n" + request.body, "text/plain");
    };
    routes.Get("/echo", echo);
    routes.Post("/echo", echo);
    routes.Get(R"(/status/(\d+))", [](const Request& request, Response& response) {
      response.status = std::stoi(request.matches[1]);
      response.set_content("page " + request.matches[1].str(), "text/html");
    });
    routes.Post(R"(/status/(\d+))", [](const Request& request, Response& response) {
      response.status = std::stoi(request.matches[1]);
      response.set_content("page", "text/html");
    });
    const auto redirect = [](const Request& request, Response& response) {
      response.set_redirect(request.get_param_value("to"), std::stoi(request.matches[1]));
      response.set_header("Set-Cookie", "crumb=1; Path=/");
    };
    routes.Get(R"(/redirect/(\d+))", redirect);
    routes.Post(R"(/redirect/(\d+))", redirect);
    routes.Get("/large", [](const Request&, Response& response) {
      response.set_content_provider(LARGE, "application/octet-stream",
                                    [](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                      const std::string piece(std::min(length, std::size_t{1} << 16),
                                                              static_cast<char>('a' + offset / (1 << 16) % 26));
                                      return sink.write(piece.data(), piece.size());
                                    });
    });
    routes.Get("/chunked", [](const Request&, Response& response) {
      response.set_chunked_content_provider("text/plain", [](std::size_t, httplib::DataSink& sink) {
        for (const std::string_view piece : {"one ", "two ", "three"}) sink.write(piece.data(), piece.size());
        sink.done();
        return true;
      });
    });
    routes.Get("/loop", [](const Request&, Response& response) { response.set_redirect("/loop"); });
    server.start();
  }

  using Files = std::pair<std::string, std::string>;  // of a certificate and its key

  // A certificate that signs itself, for an address.
  Files certificate(const std::string& name, const std::string& address) const {
    Files files{home / (name + ".crt"), home / (name + ".key")};
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=" + name +
        " -addext subjectAltName=IP:" + address + " -out " + files.first + " -keyout " + files.second + " 2>/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return files;
  }

  static std::unique_ptr<HttpServer<httplib::SSLServer>> serveSecurely(const Files& files) {
    auto secure = std::make_unique<HttpServer<httplib::SSLServer>>(files.first.c_str(), files.second.c_str());
    secure->routes().Get("/", [](const auto&, auto& response) { response.set_content("secure", "text/plain"); });
    secure->start();
    return secure;
  }

  static constexpr std::size_t LARGE = 50 << 20;
  TempHome home;
  HttpServer<> server;
};

TEST_F(HTTPTest, AGetGivesBodyStatusAndResponse) {
  const Outcome outcome = get(server.url("/echo"));
  EXPECT_EQ(outcome.status, 200);
  EXPECT_EQ(outcome.error, "");
  EXPECT_THAT(outcome.body, HasSubstr("GET /echo\n"));
  EXPECT_THAT(outcome.body, HasSubstr("User-Agent: HttpTest-2.1(345)\n"));
  EXPECT_EQ(outcome.response.status, 200);
  EXPECT_EQ(outcome.response.url, server.url("/echo"));
  EXPECT_EQ(outcome.response.header("content-TYPE"), "text/plain");
  EXPECT_EQ(outcome.response.header("content-typ"), std::nullopt);
  EXPECT_EQ((HTTPResponse{200, "", {{"Via", "a"}, {"x", "y"}, {"VIA", "b"}}}.header("via")), "a, b");
}

TEST_F(HTTPTest, EachFunctionHasItsOwnIdeaOfSuccess) {
  for (const int code : {200, 201, 404, 500}) {
    const std::string url = server.url("/status/" + std::to_string(code));
    std::int64_t status = -7;
    std::string error = "untouched";
    EXPECT_EQ(text(geturldata(url, LONG, status, error)), "page " + std::to_string(code));
    const auto body = geturl(url, LONG, status, error);
    EXPECT_EQ(body, code == 200 ? std::optional<std::string>("page 200") : std::nullopt);
    EXPECT_EQ(status, code);
    EXPECT_EQ(error, "");
    const Outcome posted = post(url, "x");
    EXPECT_EQ(posted.body, code == 200 ? "page" : "(none)");
    EXPECT_EQ(posted.status, code);
    EXPECT_EQ(posted.error, "");
  }
}

TEST_F(HTTPTest, RedirectsAreFollowed) {
  for (const int code : {301, 302, 303, 307, 308}) {
    const std::string url = server.url("/redirect/" + std::to_string(code) + "?to=/echo");
    const Outcome got = get(url);
    EXPECT_THAT(got.body, HasSubstr("GET /echo\n"));
    EXPECT_THAT(got.body, HasSubstr("Cookie: crumb=1"));
    EXPECT_EQ(got.response.url, server.url("/echo"));
    EXPECT_EQ(got.response.header("Set-Cookie"), std::nullopt) << "the headers are those of the last answer";
    const Outcome posted = post(url, "the data");
    EXPECT_THAT(posted.body, HasSubstr(code < 307 ? "GET /echo\n" : "POST /echo\n"));
    EXPECT_EQ(posted.body.ends_with("the data"), code >= 307);
  }
  EXPECT_THAT(get(server.url("/loop")).error, HasSubstr("20"));
  for (const char* target : {"file:///etc/passwd", "ftp://127.0.0.1/"}) {
    const Outcome outcome = get(server.url(std::string("/redirect/302?to=") + target));
    EXPECT_EQ(outcome.body, "(none)");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "unsupported URL");
    EXPECT_EQ(outcome.response.status, 0);
  }
}

TEST_F(HTTPTest, BodiesArriveWhole) {
  EXPECT_EQ(get(server.url("/chunked")).body, "one two three");
  const Outcome large = get(server.url("/large"));
  ASSERT_EQ(large.body.size(), LARGE);
  for (std::size_t i = 0; i < LARGE; i += 1 << 16)
    ASSERT_EQ(large.body.find_first_not_of(static_cast<char>('a' + i / (1 << 16) % 26), i),
              i + (1 << 16) < LARGE ? i + (1 << 16) : std::string::npos);
  // "hello, hello, hello" as gzip makes it.
  const std::string_view gzip(
      "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xcb\x48\xcd\xc9\xc9\xd7\x51\xc8\x40\xa2\x00\x9f\xa1\xca\x09\x13\x00\x00"
      "\x00",
      29);
  const std::string_view bytes("\0\xff\x80 not UTF-8", 12);
  const RawServer raw([&](RawServer::Connection& connection) {
    const std::string head = connection.readHead();
    const bool asksGzip = head.find("Accept-Encoding: ") != head.npos && head.find("gzip") != head.npos;
    if (head.starts_with("GET /gzip") && asksGzip)
      connection.send("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 29\r\n\r\n" + std::string(gzip));
    else
      connection.send("HTTP/1.1 200 OK\r\n\r\n" + std::string(bytes));
  });
  EXPECT_EQ(get(raw.url("/gzip")).body, "hello, hello, hello");
  EXPECT_EQ(get(raw.url("/bytes")).body, bytes);
  std::int64_t status = 0;
  std::string error;
  EXPECT_EQ(geturl(raw.url("/bytes"), LONG, status, error), std::nullopt) << "no text";
  EXPECT_EQ(status, 200);
}

TEST_F(HTTPTest, APostSendsItsDataAndHeadersAndNoUserAgent) {
  const std::string body = std::string("a\0b\r\n\r\n", 7) + std::string(2 << 20, 'x');
  const Outcome outcome = post(server.url("/echo"), body,
                               {{"Content-Type", "a/b"}, {"X-Name", "v: \"w\" \xc3\xa9"}, {"Content-Length", "3"}});
  EXPECT_TRUE(outcome.body.ends_with("\n\n" + body));
  const std::string head = outcome.body.substr(0, outcome.body.size() - body.size());
  for (const char* line :
       {"POST /echo\n", "X-Name: v: \"w\" \xc3\xa9\n", "Content-Length: 2097159\n", "Content-Type: a/b\n"})
    EXPECT_THAT(head, HasSubstr(line));
  for (const char* name : {"User-Agent", "Expect", "Content-Length: 3"}) EXPECT_THAT(head, Not(HasSubstr(name)));
  const Outcome small = post(server.url("/echo"), "", {{"User-Agent", "me"}});
  for (const char* line :
       {"Content-Type: application/x-www-form-urlencoded\n", "User-Agent: me\n", "Content-Length: 0\n"})
    EXPECT_THAT(small.body, HasSubstr(line));
  for (const auto& [name, value] :
       {std::pair{"A", "b\r\nForged: c"}, {"A\r\nForged: c", "b"}, {"", "b"}, {"A:", "b"}}) {
    const Outcome forged = post(server.url("/echo"), "x", {{name, value}});
    EXPECT_EQ(forged.body, "(none)");
    EXPECT_EQ(forged.status, 0);
    EXPECT_THAT(forged.error, HasSubstr("cannot be sent"));
  }
}

TEST_F(HTTPTest, WhatIsNoURLIsNotAskedForAndTouchesNothing) {
  FakePlatform fake;
  fake.bundles->main.info = *writePropertyList(
      Value::Dictionary{{"CFBundleName", "A"}, {"CFBundleShortVersionString", "1"}, {"CFBundleVersion", "2"}},
      PropertyListFormat::XML);
  for (const char* url : {"",
                          " ",
                          "http://a b/",
                          "http://a/b c",
                          "http://a/\n",
                          "http://a/\xc3\xa9",
                          "http://a/%zz",
                          "http://a/%2",
                          "http://a/<b>",
                          "http://a/{b}",
                          "http://a/\"",
                          "http://a/b|c",
                          "http://a/b\\c",
                          "http://a/b^c",
                          "http://a/`",
                          "http://a/#b#c",
                          "http://a/[b]",
                          "http://a:x/",
                          "http://a:-1/",
                          "http://a:65536/",
                          "http://[::1/",
                          "http://[a]/",
                          "http://a]/",
                          ":a",
                          "1a://b"}) {
    for (const Outcome& outcome : {get(url), post(url, "x")}) {
      EXPECT_EQ(outcome.body, "(none)") << url;
      EXPECT_EQ(outcome.status, -7) << url;
      EXPECT_EQ(outcome.error, "untouched") << url;
      EXPECT_EQ(outcome.response.url, "untouched") << url;
    }
  }
  EXPECT_THAT(fake.http->requests(), IsEmpty());
  const char* valid[] = {"http://a",
                         "HTTP://a:8080/b;c=d?e=f&g#h",
                         "http://u:p@[::1]:80/",
                         "a/b?c",
                         "//a/b",
                         "a-b.c+d:e@f",
                         "http://a/%C3%A9~!$&'()*+,;=:@/-._",
                         "?",
                         "http://"};
  for (const char* url : valid) EXPECT_EQ(get(url).error, std::string("Nothing for ") + url);
  EXPECT_EQ(fake.http->requests().size(), std::size(valid));
}

TEST_F(HTTPTest, WithoutAVersionAGetTouchesNothing) {
  FakePlatform fake;
  fake.http->replies["http://a/"] = {{200, "http://a/", {}}, {'x'}};
  const Outcome got = get("http://a/");
  EXPECT_EQ(got.body, "(none)");
  EXPECT_EQ(got.status, -7);
  EXPECT_EQ(got.error, "untouched");
  EXPECT_THAT(fake.http->requests(), IsEmpty());
  EXPECT_EQ(post("http://a/", "y").body, "x") << "a POST needs none";
  const auto requests = fake.http->requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].method, HttpRequest::Method::POST);
  EXPECT_EQ(requests[0].cachePolicy, HttpCachePolicy::USE_PROTOCOL);
  EXPECT_THAT(requests[0].headers, IsEmpty());
  EXPECT_EQ(requests[0].timeout, 30.0);
}

TEST_F(HTTPTest, OtherSchemesAndFailuresOfTheTransportAreToldInWords) {
  const RawServer raw([](RawServer::Connection& connection) {
    const std::string head = connection.readHead();
    if (head.starts_with("GET /half")) connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
    if (head.starts_with("GET /garbage")) connection.send("\x01\x02 garbage\r\n\r\n");
    if (head.starts_with("GET /headers") && connection.send("HTTP/1.1 200 OK\r\n"))
      while (connection.send("X-Filler: " + std::string(1000, 'x') + "\r\n")) {
      }
    if (head.starts_with("GET /gzip"))
      connection.send("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 4\r\n\r\nnone");
  });
  const struct {
    std::string url;
    const char* error;
  } rows[] = {{"ftp://127.0.0.1/", "unsupported URL"},
              {"file:///etc/passwd", "unsupported URL"},
              {"localhost:80/x", "unsupported URL"},
              {"a/b", "unsupported URL"},
              {"http://", ""},
              {"http://127.0.0.1:1/", "connect"},
              {"http://nowhere.invalid/", "Could not resolve host: nowhere.invalid"},
              {raw.url("/nothing"), "Empty reply"},
              {raw.url("/half"), "closed"},
              {raw.url("/garbage"), "HTTP/0.9"},
              {raw.url("/headers"), "headers"},
              {raw.url("/gzip"), "content"}};
  for (const auto& row : rows) {
    const Outcome outcome = get(row.url);
    EXPECT_EQ(outcome.body, "(none)") << row.url;
    EXPECT_EQ(outcome.status, 0) << row.url;
    EXPECT_THAT(outcome.error, AllOf(HasSubstr(row.error), Not(IsEmpty()))) << row.url;
    EXPECT_EQ(outcome.response.url, "") << row.url;
  }
}

TEST_F(HTTPTest, TheLimitHoldsAndTheRequestIsCancelled) {
  std::atomic<int> closed = 0;
  const RawServer raw([&](RawServer::Connection& connection) {
    if (connection.readHead().starts_with("GET /drip")) {
      connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n");
      while (!connection.waitForClose(1000)) connection.send("x");
      ++closed;
    } else if (connection.waitForClose(static_cast<int>(LONG))) {
      ++closed;
    }
  });
  const Outcome silent = get(raw.url(), 300);
  expectLimit(silent, 300);
  EXPECT_EQ(silent.error, "");
  expectLimit(get(raw.url("/drip"), 2500), 2500);
  expectLimit(get(raw.url(), 0), 0);
  const auto end = std::chrono::steady_clock::now() + GENEROUS;
  while (closed < 2 && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_GE(closed, 2) << "the server sees the connections close";
}

TEST_F(HTTPTest, ARequestThatEndsStartsTheWaitOfOthersAnew) {
  FakePlatform fake;
  fake.http->silent = {"http://silent/"};
  fake.http->replies["http://quick/"] = {{200, "", {}}, {}};
  ManualClock clock(Timeval::sec(1'000'000));
  std::atomic<bool> over = false;
  std::thread waiter([&] {
    post("http://silent/", "", {}, 1000);
    over = true;
  });
  while (fake.http->requests().empty()) std::this_thread::yield();
  std::this_thread::sleep_for(milliseconds(20));  // until it waits
  clock.advance(Timeval::usec(900'000));
  EXPECT_EQ(post("http://quick/", "").status, 200);
  std::this_thread::sleep_for(milliseconds(20));
  clock.advance(Timeval::usec(900'000));
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_FALSE(over);
  EXPECT_THAT(fake.http->cancelled(), IsEmpty());
  clock.advance(Timeval::usec(100'000));
  waiter.join();
  EXPECT_THAT(fake.http->cancelled(), testing::ElementsAre("http://silent/"));
}

TEST_F(HTTPTest, ASilentServerEndsTheRequestHoweverBusyTheOthersAre) {
  std::atomic<bool> over = false;
  std::atomic<bool> closed = false;
  const RawServer raw([&](RawServer::Connection& connection) {
    connection.readHead();
    closed = connection.waitForClose(static_cast<int>(LONG));
  });
  std::thread busy([&] {
    while (!over) get(server.url("/echo"));
  });
  const Outcome outcome = get(raw.url(), 500);
  over = true;
  busy.join();
  expectLimit(outcome, 500);
  EXPECT_EQ(outcome.error, "The request timed out");
}

TEST_F(HTTPTest, AResolverThatHangsDelaysNobody) {
  const std::size_t threads = entries("/proc/self/task");
  {
    const std::lock_guard lock(s_resolver);
    s_resolverHangs = true;
  }
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) callers.emplace_back([] { expectLimit(get("http://hanging.test/", 700), 700); });
  {
    std::unique_lock lock(s_resolver);
    s_resolverChanged.wait(lock, [] { return s_resolving == 4; });
  }
  const Outcome other = get(server.url("/echo"));
  EXPECT_EQ(other.status, 200);
  EXPECT_LT(other.took, milliseconds(650));
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(get(server.url("/echo")).status, 200) << "after the session has given the resolver up";
  {
    const std::lock_guard lock(s_resolver);
    s_resolverHangs = false;
    s_resolverChanged.notify_all();
  }
  const auto end = std::chrono::steady_clock::now() + milliseconds(LONG);
  while (entries("/proc/self/task") > threads && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(milliseconds(20));
  EXPECT_LE(entries("/proc/self/task"), threads) << "threads end when the resolver answers";
}

TEST_F(HTTPTest, CertificatesAreChecked) {
  const auto right = certificate("right", "127.0.0.1");
  const auto wrong = certificate("wrong", "127.0.0.2");
  const auto rightServer = serveSecurely(right);
  const auto wrongServer = serveSecurely(wrong);
  const Outcome refused = get(rightServer->url("/", "https"));
  EXPECT_EQ(refused.body, "(none)");
  EXPECT_EQ(refused.status, 0);
  EXPECT_THAT(refused.error, HasSubstr("self-signed certificate"));
  home.set("SSL_CERT_FILE", right.first.c_str());
  EXPECT_EQ(get(rightServer->url("/", "https")).body, "secure");
  home.set("SSL_CERT_FILE", wrong.first.c_str());
  EXPECT_THAT(get(wrongServer->url("/", "https")).error, HasSubstr("no alternative certificate subject name"))
      << "a certificate of another name";
}

TEST_F(HTTPTest, TheEnvironmentChoosesAProxy) {
  std::string line;
  const RawServer proxy([&](RawServer::Connection& connection) {
    line = connection.readHead().substr(0, 28);
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nby");
  });
  home.set("http_proxy", proxy.url().c_str());
  EXPECT_EQ(get("http://nowhere.invalid/a").body, "by");
  EXPECT_EQ(line, "GET http://nowhere.invalid/a");
  home.set("no_proxy", "127.0.0.1");
  EXPECT_THAT(get(server.url("/echo")).body, HasSubstr("GET /echo"));
}

TEST_F(HTTPTest, ManyThreadsAtOnceGetTheirOwnAnswers) {
  std::atomic<int> right = 0;
  std::vector<std::thread> threads;
  for (int id = 0; id < 64; ++id)
    threads.emplace_back([&, id] {
      for (int i = 0; i < 5; ++i) {
        const std::string body = std::to_string(id) + "." + std::to_string(i);
        right += post(server.url("/echo"), body).body.ends_with("\n\n" + body);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 64 * 5);
}

TEST_F(HTTPTest, AServerThatGoesAwayRaisesNoSignal) {
  std::signal(SIGPIPE, SIG_DFL);
  const RawServer raw([](RawServer::Connection& connection) { connection.readHead(); });
  const Outcome outcome = post(raw.url(), std::string(20 << 20, 'x'));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.error, "");
}

#if !defined(__SANITIZE_THREAD__)  // which allows no threads after a fork
TEST_F(HTTPTest, AForkedChildHasASessionOfItsOwn) {
  std::atomic<int> asked = 0;
  const RawServer raw([&](RawServer::Connection& connection) {
    connection.readHead();
    ++asked;
    connection.waitForClose(3000);
  });
  ASSERT_EQ(get(server.url("/echo")).status, 200);
  std::thread waiting([&] { get(raw.url(), 1000); });
  while (asked == 0) std::this_thread::yield();
  const pid_t child = fork();
  if (child == 0) _exit(get(server.url("/echo")).status == 200 ? 0 : 1);
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(get(server.url("/echo")).status, 200);
  waiting.join();
}
#endif

TEST_F(HTTPTest, AProgramMayExitInTheMiddleOfRequests) {
  const auto files = certificate("exit", "127.0.0.1");
  const auto secure = serveSecurely(files);
  home.set("SSL_CERT_FILE", files.first.c_str());
  const RawServer silent([](RawServer::Connection& connection) {
    connection.readHead();
    connection.waitForClose(static_cast<int>(LONG));
  });
  const std::string command = CORVANE_TEST_BIN "/http_exit " + silent.url() + " " + secure->url("/", "https") + " " +
                              secure->url("/", "https") + " " + server.url("/large");
  for (int i = 0; i < 10; ++i) EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST_F(HTTPTest, ThousandRequestsLeaveNoThreadAndNoDescriptor) {
  const std::size_t threads = entries("/proc/self/task");
  const std::size_t descriptors = entries("/proc/self/fd");
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(get(server.url("/status/200")).status, 200);
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename());
    int domain = 0;
    socklen_t size = sizeof domain;
    if (getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) != 0 || domain != AF_INET) continue;
    sockaddr_in peer{};
    size = sizeof peer;
    if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) != 0) continue;
    if (ntohs(peer.sin_port) == server.port()) {
      EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC) << "programs that are started must not hold connections";
    }
  }
  const auto end = std::chrono::steady_clock::now() + milliseconds(LONG);
  while ((entries("/proc/self/task") > threads || entries("/proc/self/fd") > descriptors) &&
         std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(milliseconds(50));
  EXPECT_LE(entries("/proc/self/task"), threads);
  EXPECT_LE(entries("/proc/self/fd"), descriptors);
  EXPECT_EQ(get(server.url("/echo")).status, 200) << "and it starts again";
}

TEST_F(HTTPTest, TheGuidesExamplesWork) {
  const std::string command =
      CORVANE_TEST_BIN "/http_example " + server.url("/status/200") + " " + server.url("/echo") + " >" + home / "out";
  EXPECT_EQ(std::system(command.c_str()), 0);
  std::ifstream out(home / "out");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(out), {}), "newest: page 200\n8 bytes of text/html\nreported\n");
#include "http_example.inc"
  EXPECT_EQ(post("http://updates.example/version", "").body, "2.0");
  EXPECT_EQ(post("http://updates.example/slow", "", {}, 1).status, 0);
}

}  // namespace
}  // namespace corvane
