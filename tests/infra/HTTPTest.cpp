#include "corvane/infra/HTTP.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <netdb.h>
#include <regex.h>

#include "corvane/testing/FakePlatform.h"
#include "corvane/testing/ManualClock.h"
#include "tests/support/Conditions.h"
#include "tests/support/HttpServer.h"
#include "tests/support/InfoPlist.h"
#include "tests/support/TempHome.h"

namespace {

// A resolver that is slow for one name.
std::atomic<bool> s_resolverHangs = false;
std::atomic<int> s_resolving = 0;

}  // namespace

extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node, const char* service,
                                                                  const addrinfo* hints, addrinfo** result) {
  if (node && std::string_view(node) == "hanging.test") {
    ++s_resolving;
    s_resolverHangs.wait(true);
    --s_resolving;
    return EAI_AGAIN;
  }
  static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return real(node, service, hints, result);
}

namespace corvane {
namespace {

using std::chrono::milliseconds;
using namespace testing;
using Headers = std::map<std::string, std::string>;

constexpr std::int64_t LONG = 30'000;                  // milliseconds: more than any test takes
constexpr milliseconds GENEROUS = milliseconds(5000);  // by how much a busy machine may miss a limit

std::string text(const std::optional<Data>& data) {
  return data ? std::string(data->bytes.begin(), data->bytes.end()) : "(none)";
}

// What a call gives; the outputs start with values that no call gives.
struct Outcome {
  std::string body = "(none)";
  std::int64_t status = -7;
  std::string error = "untouched";
  HTTPResponse response{-7, "untouched", {}};
  milliseconds took{};

  std::string all() const { return std::to_string(status) + "|" + error + "|" + body; }
};

const std::string UNTOUCHED = Outcome().all();

Outcome get(const std::string& url, std::int64_t msecs = LONG) {
  Outcome outcome;
  const auto begin = std::chrono::steady_clock::now();
  outcome.body = text(geturldataresponse(url, msecs, outcome.status, outcome.error, outcome.response));
  outcome.took = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
  return outcome;
}

Outcome post(const std::string& url, std::string_view body, const Headers& headers = {}, std::int64_t msecs = LONG) {
  Outcome outcome;
  const Data data{{body.begin(), body.end()}};
  outcome.body = text(posturl(url, data, headers, msecs, outcome.status, outcome.error));
  return outcome;
}

void expectLimit(const Outcome& outcome, std::int64_t msecs) {
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.body, "(none)");
  EXPECT_GE(outcome.took, milliseconds(msecs));
  EXPECT_LT(outcome.took, milliseconds(msecs) + GENEROUS);
}

// How many threads ("task") or descriptors ("fd") this process has.
std::size_t count(const std::string& what) {
  return namesIn("/proc/self/" + what).size();
}

std::string large() {
  std::string bytes;
  for (int i = 0; i < 12'800; ++i) bytes.append(4096, static_cast<char>(i % 251));
  return bytes;  // 50 MiB
}

// The part of a text that matches the group of an expression.
std::string part(const std::string& text, const char* expression) {
  regex_t compiled;  // of the C library, because std::regex is not free of data races
  if (regcomp(&compiled, expression, REG_EXTENDED | REG_ICASE) != 0) return "";
  regmatch_t groups[2];
  const bool matches = regexec(&compiled, text.c_str(), 2, groups, 0) == 0;
  regfree(&compiled);
  return matches ? text.substr(static_cast<std::size_t>(groups[1].rm_so),
                               static_cast<std::size_t>(groups[1].rm_eo - groups[1].rm_so))
                 : "";
}

// Answers the requests of a connection: with a status, a redirection, much, or the request itself.
void answer(HttpServer::Connection& connection) {
  for (std::string head; !(head = connection.readHead()).empty();) {
    const std::string length = part(head, "Content-Length: ([0-9]+)"), path = part(head, "^[A-Z]+ ([^ ]+)");
    std::string status = part(path, "^/status/([0-9]+)"), headers = "Content-Type: text/html\r\n";
    std::string body = "page " + status;
    const std::string data = connection.read(length.empty() ? 0 : std::stoul(length));
    if (path.starts_with("/redirect?to=")) {
      status = "302";
      const std::string target = part(path, "=(.+)");
      headers = "Location: " + (target.empty() ? path : target) + "\r\nSet-Cookie: crumb=1; Path=/\r\n";
    } else if (status.empty()) {
      body = path == "/large" ? large() : head + data;
    }
    connection.send("HTTP/1.1 " + (status.empty() ? "200" : status) + " x\r\n" + headers +
                    "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
  }
}

// A server with a certificate of its own that signs itself, for an address.
class SecureServer {
 public:
  SecureServer(const TempHome& home, const std::string& name, const std::string& address)
      : m_certificate(home / (name + ".crt")) {
    const std::string key = home / (name + ".key");
    const std::string make =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=" + name +
        " -addext subjectAltName=IP:" + address + " -out " + m_certificate + " -keyout " + key + " 2>/dev/null";
    EXPECT_EQ(std::system(make.c_str()), 0);
    const std::string serve =
        "echo $$; exec openssl s_server -www -accept 127.0.0.1:0 -cert " + m_certificate + " -key " + key;
    m_output = popen(serve.c_str(), "r");
    char line[256];
    if (std::fgets(line, sizeof line, m_output)) m_process = std::atoi(line);
    while (m_url.empty() && std::fgets(line, sizeof line, m_output)) m_url = part(line, "ACCEPT ([^ \n]+)");
  }
  ~SecureServer() {
    kill(m_process, SIGTERM);
    pclose(m_output);
  }
  SecureServer(const SecureServer&) = delete;
  SecureServer& operator=(const SecureServer&) = delete;

  std::string url() const { return "https://" + m_url + "/"; }
  const char* certificate() const { return m_certificate.c_str(); }

 private:
  const std::string m_certificate;
  FILE* m_output = nullptr;
  pid_t m_process = -1;
  std::string m_url;
};

const std::string VERSIONED =
    infoPlist(Value::Dictionary{{"CFBundleName", "A"}, {"CFBundleShortVersionString", "1"}, {"CFBundleVersion", "2"}});

struct HTTPTest : Test {
  HTTPTest() {
    for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy",
                             "NO_PROXY", "SSL_CERT_FILE", "SSL_CERT_DIR"})
      home.set(name, nullptr);
  }

  TempHome home;
  const HttpServer server{answer};
};

TEST_F(HTTPTest, AGetGivesBodyStatusAndResponse) {
  const Outcome outcome = get(server.url("/echo"));
  EXPECT_THAT(outcome.all(), AllOf(StartsWith("200||GET /echo "), HasSubstr("User-Agent: HttpTest-2.1(345)\r\n")));
  EXPECT_EQ(outcome.response.status, 200);
  EXPECT_EQ(outcome.response.url, server.url("/echo"));
  EXPECT_EQ(outcome.response.header("content-TYPE"), "text/html");
  EXPECT_EQ((HTTPResponse{200, "", {{"Via", "a"}, {"x", "y"}, {"VIA", "b"}}}.header("via")), "a, b");
}

TEST_F(HTTPTest, EachFunctionHasItsOwnNotionOfSuccess) {
  for (const std::string code : {"200", "201", "404", "500"}) {
    const std::string url = server.url("/status/" + code);
    Outcome data, string;
    data.body = text(geturldata(url, LONG, data.status, data.error));
    string.body = geturl(url, LONG, string.status, string.error).value_or("(none)");
    EXPECT_EQ(data.all(), code + "||page " + code);
    for (const Outcome& outcome : {string, post(url, "x")})
      EXPECT_EQ(outcome.all(), code == "200" ? "200||page 200" : code + "||(none)");
  }
}

TEST_F(HTTPTest, RedirectionsAreFollowedTwentyTimesToWebServersOnly) {
  const Outcome got = get(server.url("/redirect?to=/echo"));
  EXPECT_THAT(got.body, HasSubstr("Cookie: crumb=1"));
  EXPECT_EQ(got.response.url, server.url("/echo"));
  EXPECT_EQ(got.response.header("Set-Cookie"), std::nullopt) << "the headers are those of the last answer";
  EXPECT_THAT(get(server.url("/redirect?to=")).error, HasSubstr("20")) << "a redirection to itself";
  EXPECT_EQ(get(server.url("/redirect?to=file:///etc/passwd")).all(), "0|unsupported URL|(none)");
}

TEST_F(HTTPTest, BodiesArriveWhole) {
  EXPECT_TRUE(get(server.url("/large")).body == large());
  FakePlatform fake;
  fake.bundles->main.info = VERSIONED;
  for (const auto& [sent, isText] : {std::pair{std::string("a\0\xc3\xa9", 4), true}, {"\xff", false}}) {
    fake.http->replies["http://a/"] = {{200, "", {}}, {sent.begin(), sent.end()}};
    Outcome string;
    EXPECT_EQ(geturl("http://a/", LONG, string.status, string.error), isText ? std::optional(sent) : std::nullopt);
  }
}

TEST_F(HTTPTest, APostSendsItsDataAndHeadersAndNoUserAgent) {
  const std::string body = std::string("a\0b\r\n\r\n", 7) + std::string(2 << 20, 'x');
  const Outcome outcome = post(server.url("/echo"), body,
                               {{"Content-Type", "a/b"}, {"X-Name", "v: \"w\" \xc3\xa9"}, {"Content-Length", "3"}});
  ASSERT_TRUE(outcome.body.ends_with("\r\n\r\n" + body));
  const std::string head = outcome.body.substr(0, outcome.body.size() - body.size());
  EXPECT_THAT(head, AllOf(StartsWith("POST /echo "), HasSubstr("X-Name: v: \"w\" \xc3\xa9\r\n"),
                          HasSubstr("Content-Length: 2097159\r\n"), HasSubstr("Content-Type: a/b\r\n")));
  EXPECT_THAT(get(server.url("/echo")).body, AllOf(StartsWith("GET "), Not(HasSubstr("X-Name")), EndsWith("\r\n\r\n")))
      << "nothing is left for the next request";
  for (const char* name : {"User-Agent", "Expect", "Content-Length: 3"}) EXPECT_THAT(head, Not(HasSubstr(name)));
  EXPECT_THAT(post(server.url("/echo"), "", {{"User-Agent", "me"}, {"X-Empty", ""}}).body,
              AllOf(HasSubstr("Content-Type: application/x-www-form-urlencoded\r\n"), HasSubstr("User-Agent: me\r\n"),
                    HasSubstr("Content-Length: 0\r\n"), HasSubstr("\r\nX-Empty:\r\n")));
  for (const auto& [name, value] : {std::pair{"A", "b\r\nForged: c"}, {"A\r\nForged: c", "b"}, {"", "b"}, {"A:", "b"}})
    EXPECT_THAT(post(server.url("/echo"), "x", {{name, value}}).all(),
                AllOf(StartsWith("0|"), HasSubstr("cannot be sent"), EndsWith("|(none)")));
}

TEST_F(HTTPTest, AnInvalidURLIsNotRequestedAndTheOutputsStay) {
  FakePlatform fake;
  fake.bundles->main.info = VERSIONED;
  std::istringstream invalid(
      "http://a\tb/ http://a/%zz http://a/#b#c http://a/\xc3\xa9 http://a:x/ http://a:65536/ http://[::1/ http://[a]/ "
      "http://a]/ http://a/[  :a 1a://b a_b:c http:// http:///host/ HTTPS://:80/ http://u@/ http://a@b@c/ "
      "http://[::1]x/ http://a/%2");
  for (std::string url; std::getline(invalid, url, ' ');) {
    const Outcome got = get(url);
    EXPECT_EQ(got.response.url, "untouched") << url;
    for (const Outcome& outcome : {got, post(url, "x")}) EXPECT_EQ(outcome.all(), UNTOUCHED) << url;
  }
  EXPECT_THAT(fake.http->requests(), IsEmpty());
  for (const char* url : {"http://a", "HTTP://a:8080/b;c=d?e=f&g#h", "http://u:p@[::1]:80/", "a/b?c", "//a/b",
                          "a-b.c+d:e@f", "http://a/%C3%A9~!$&'()*+,;=:@/-._", "?", "file:///a", "http://a:65535"})
    EXPECT_EQ(get(url).error, std::string("Nothing for ") + url);
}

TEST_F(HTTPTest, WithoutAVersionAGetLeavesTheOutputsAlone) {
  FakePlatform fake;
  fake.http->replies["http://a/"] = {{200, "http://a/", {}}, {'x'}};
  EXPECT_EQ(get("http://a/").all(), UNTOUCHED);
  EXPECT_EQ(post("http://a/", "y").body, "x") << "a POST needs none";
  ASSERT_EQ(fake.http->requests().size(), 1U);
  EXPECT_EQ(fake.http->requests()[0].timeout, 30.0);
}

TEST_F(HTTPTest, OtherSchemesAndFailuresOfTheTransportAreReportedInWords) {
  const HttpServer raw([](HttpServer::Connection& connection) {
    const std::string head = connection.readHead();
    if (head.starts_with("GET /half")) connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
    if (head.starts_with("GET /line"))
      connection.send("HTTP/1.1 200 OK\r\nX: " + std::string(200'000, 'x') + "\r\n\r\n");
    if (head.starts_with("GET /headers") && connection.send("HTTP/1.1 200 OK\r\n"))
      while (connection.send("X-Filler: " + std::string(1000, 'x') + "\r\n")) {
      }
  });
  for (const auto& [url, words] : {std::pair<std::string, const char*>{"a/b", "unsupported URL"},
                                   {raw.url("/half"), "(closed|missing)"},
                                   {raw.url("/line"), "a header that is too long"},
                                   {raw.url("/headers"), "too many headers"}}) {
    const Outcome outcome = get(url);
    EXPECT_THAT(outcome.all(), ContainsRegex(std::string("^0\\|.*") + words + ".*\\|\\(none\\)$")) << url;
    EXPECT_EQ(outcome.response.url, "") << url;
  }
  std::signal(SIGPIPE, SIG_DFL);
  EXPECT_THAT(post(raw.url(), std::string(20 << 20, 'x')).all(), MatchesRegex("0\\|..+\\|\\(none\\)"))
      << "a server that goes away raises no signal";
}

TEST_F(HTTPTest, TheLimitHoldsAndTheRequestIsCancelled) {
  std::atomic<int> closed = 0;
  const HttpServer raw([&](HttpServer::Connection& connection) {
    const bool drips = connection.readHead().starts_with("GET /drip");
    if (drips) connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n");
    while (!connection.waitForClose(1000))
      if (drips) connection.send("x");
    ++closed;
  });
  expectLimit(get(raw.url(), 300), 300);
  expectLimit(get(raw.url("/drip"), 2500), 2500);
  expectLimit(get(raw.url(), 0), 0);
  EXPECT_TRUE(waitUntil([&] { return closed >= 2; }, GENEROUS)) << "the server sees the connections close";
}

TEST_F(HTTPTest, ARequestThatEndsStartsTheWaitOfOthersAnew) {
  FakePlatform fake;
  fake.http->silent = {"http://silent/"};
  fake.http->replies["http://quick/"] = {{200, "", {}}, {}};
  ManualClock clock(Timeval::sec(1'000'000));
  std::thread waiter([] { post("http://silent/", "", {}, 1000); });
  while (fake.http->requests().empty()) std::this_thread::yield();
  std::this_thread::sleep_for(milliseconds(20));  // until it waits
  clock.advance(Timeval::usec(900'000));
  EXPECT_EQ(post("http://quick/", "").status, 200);
  std::this_thread::sleep_for(milliseconds(20));
  clock.advance(Timeval::usec(900'000));
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_THAT(fake.http->cancelled(), IsEmpty());
  clock.advance(Timeval::usec(100'000));
  waiter.join();
  EXPECT_THAT(fake.http->cancelled(), ElementsAre("http://silent/"));
}

TEST_F(HTTPTest, ASilentServerEndsTheRequestHoweverBusyTheOthersAre) {
  const HttpServer raw([&](HttpServer::Connection& connection) {
    connection.readHead();
    connection.waitForClose(LONG);
  });
  const std::jthread busy([&](const std::stop_token& stop) {
    while (!stop.stop_requested()) get(server.url("/echo"));
  });
  const Outcome outcome = get(raw.url(), 500);
  expectLimit(outcome, 500);
  EXPECT_EQ(outcome.error, "The request timed out");
}

TEST_F(HTTPTest, AResolverThatHangsDelaysNothingElse) {
  const std::size_t threads = count("task");
  s_resolverHangs = true;
  {
    std::vector<std::jthread> callers;
    for (int i = 0; i < 4; ++i) callers.emplace_back([] { expectLimit(get("http://hanging.test/", 700), 700); });
    ASSERT_TRUE(waitUntil([] { return s_resolving == 4; }));
    const Outcome other = get(server.url("/echo"));
    EXPECT_EQ(other.status, 200);
    EXPECT_LT(other.took, milliseconds(650));
  }
  EXPECT_EQ(get(server.url("/echo")).status, 200) << "after the session has given the resolver up";
  s_resolverHangs = false;
  s_resolverHangs.notify_all();
  EXPECT_TRUE(waitUntil([&] { return count("task") <= threads; })) << "threads end when the resolver answers";
}

TEST_F(HTTPTest, CertificatesAreChecked) {
  const SecureServer right(home, "right", "127.0.0.1"), wrong(home, "wrong", "127.0.0.2");
  EXPECT_THAT(get(right.url()).all(), AllOf(StartsWith("0|"), HasSubstr("self-signed certificate")));
  home.set("SSL_CERT_FILE", right.certificate());
  EXPECT_EQ(get(right.url()).status, 200);
  home.set("SSL_CERT_FILE", wrong.certificate());
  EXPECT_THAT(get(wrong.url()).all(), AllOf(StartsWith("0|"), HasSubstr("no alternative certificate subject name")));
  home.set("SSL_CERT_FILE", "/nowhere.crt");
  EXPECT_THAT(get(right.url()).error,
              StartsWith("No certificates of trusted authorities can be read from /nowhere.crt"));
}

TEST_F(HTTPTest, ManyThreadsAtOnceGetTheirOwnAnswersAndLeaveNoThreadAndNoDescriptor) {
  const std::size_t threads = count("task"), descriptors = count("fd");
  std::atomic<int> right = 0;
  std::vector<std::jthread> callers;
  for (int id = 0; id < 64; ++id)
    callers.emplace_back([&, body = std::to_string(id)] {
      for (int i = 0; i < 10; ++i) right += post(server.url("/echo"), body).body.ends_with("\r\n\r\n" + body);
    });
  callers.clear();
  EXPECT_EQ(right, 64 * 10);
  EXPECT_TRUE(waitUntil([&] { return count("task") <= threads && count("fd") <= descriptors; }));
  EXPECT_EQ(get(server.url("/echo")).status, 200) << "and it starts again";
}

#if !defined(__SANITIZE_THREAD__)  // it allows no threads after a fork
TEST_F(HTTPTest, AForkedChildHasASessionOfItsOwn) {
  std::atomic<int> asked = 0;
  const HttpServer raw([&](HttpServer::Connection& connection) {
    connection.readHead();
    ++asked;
    connection.waitForClose(3000);
  });
  const std::jthread waiting([&] { get(raw.url(), 1000); });
  ASSERT_TRUE(waitUntil([&] { return asked == 1; }));
  EXPECT_EXIT(_exit(get(server.url("/echo")).status == 200 ? 0 : 1), ExitedWithCode(0), "");
  EXPECT_EQ(get(server.url("/echo")).status, 200);
}
#endif

TEST_F(HTTPTest, AProgramMayExitInTheMiddleOfRequests) {
  const SecureServer secure(home, "exit", "127.0.0.1");
  home.set("SSL_CERT_FILE", secure.certificate());
  const HttpServer silent([](HttpServer::Connection& connection) {
    connection.readHead();
    connection.waitForClose(LONG);
  });
  std::string urls;
  for (const std::string& url : {silent.url(), secure.url(), secure.url(), server.url("/large")}) urls += " " + url;
  for (int msec = 2; msec < 40; msec += 4)  // the earliest while the libraries are still being set up
    EXPECT_EQ(std::system((CORVANE_TEST_BIN "/http_exit " + std::to_string(msec) + urls).c_str()), 0) << msec;
}

TEST_F(HTTPTest, ChildProgramsInheritNoConnections) {
  const HttpServer other(answer);
  const auto inherited = [] { return std::system("exit $(ls /proc/self/fd | wc -l)"); };
  ASSERT_EQ(get(server.url("/echo")).status, 200);  // opens what the session keeps for itself
  const int before = inherited();
  ASSERT_EQ(get(other.url("/echo")).status, 200);
  EXPECT_EQ(inherited(), before) << "the connection is kept, for this process alone";
}

TEST_F(HTTPTest, TheGuidesExamplesWork) {
  const std::string command =
      CORVANE_TEST_BIN "/http_example " + server.url("/status/200") + " " + server.url("/echo") + " >" + home / "out";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(contentOf(home / "out"), "newest: page 200\n8 bytes of text/html\nreported\n");
#include "http_example.inc"
  EXPECT_EQ(post("http://updates.example/version", "").body, "2.0");
  EXPECT_EQ(post("http://updates.example/slow", "", {}, 1).status, 0);
}

}  // namespace
}  // namespace corvane
