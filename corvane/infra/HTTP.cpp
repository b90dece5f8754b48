#include "corvane/infra/HTTP.h"

#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>
#include <utility>

#include "corvane/core/Checked.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/PerProcess.h"
#include "corvane/core/Text.h"
#include "corvane/infra/Bundle.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool hasBrackets(std::string_view text) {
  return text.find_first_of("[]") != std::string_view::npos;
}

// Only characters that are allowed in a URI, and only complete escapes.
bool hasURLCharacters(std::string_view text) {
  static constexpr std::string_view MARKS = "-._~:/?#[]@!$&'()*+,;=%";
  static constexpr std::string_view HEX = "0123456789abcdefABCDEF";
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (!isLetter(c) && !isDigit(c) && MARKS.find(c) == MARKS.npos) return false;
    if (c == '%' && (text.size() - i < 3 || text.substr(i + 1, 2).find_first_not_of(HEX) != HEX.npos)) return false;
  }
  return true;
}

bool isScheme(std::string_view text) {
  const auto allowed = [](char c) { return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.'; };
  return !text.empty() && isLetter(text.front()) && std::ranges::all_of(text, allowed);
}

// [user "@"] host [":" port]
bool isAuthority(std::string_view text, bool mayLackHost) {
  const std::size_t at = text.find('@');
  if (at != text.npos && hasBrackets(text.substr(0, at))) return false;
  if (at != text.npos) text.remove_prefix(at + 1);
  std::string_view host = text.substr(0, text.find(':'));
  if (text.starts_with('[')) {
    host = text.substr(0, text.find(']') + 1);
    in6_addr address{};
    if (host.empty() || inet_pton(AF_INET6, std::string(host.substr(1, host.size() - 2)).c_str(), &address) != 1)
      return false;
  } else if (hasBrackets(host) || host.find('@') != host.npos || (host.empty() && !mayLackHost)) {
    return false;
  }
  std::string_view port = text.substr(host.size());
  if (port.empty()) return true;
  port.remove_prefix(1);
  if (text[host.size()] != ':' || !std::ranges::all_of(port, isDigit)) return false;
  std::uint16_t number = 0;
  return port.empty() || std::from_chars(port.data(), port.data() + port.size(), number).ec == std::errc();
}

// A URI or a relative reference (RFC 3986, 4.1). With http and https they need a host (RFC 9110, 4.2).
bool isURL(std::string_view text) {
  if (text.empty() || !hasURLCharacters(text) || std::ranges::count(text, '#') > 1) return false;
  std::string_view scheme;
  // Text before a colon in the first segment is a scheme.
  if (const std::size_t end = text.find_first_of(":/?#"); end != text.npos && text[end] == ':') {
    scheme = text.substr(0, end);
    text.remove_prefix(end + 1);
    if (!isScheme(scheme)) return false;
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    const std::string_view authority = text.substr(0, text.find_first_of("/?#"));
    text.remove_prefix(authority.size());
    if (!isAuthority(authority, !equalIgnoringCase(scheme, "http") && !equalIgnoringCase(scheme, "https")))
      return false;
  }
  return !hasBrackets(text);
}

// Shared by a call and the completion of its request, which may outlive the call.
struct Slots {
  std::optional<Data> body;
  std::int64_t status = 0;
  std::string error;
  HTTPResponse response;
  bool done = false;
};

// All requests of the process: callers hold the lock except while they wait, completions while they fill slots.
class Requests {
 public:
  static Requests& shared() {
    static auto& instance = *new PerProcess<Requests>;
    return instance();
  }

  std::optional<Data> get(const std::string& url, std::int64_t msecs, std::int64_t& status, std::string& error,
                          HTTPResponse& response) {
    MutexLock lock(m_mutex);
    ++m_inFlight;
    if (!isURL(url)) return std::nullopt;
    const auto agent = Bundle::mainBundle()->appVersionName();
    if (!agent) return std::nullopt;
    HttpRequest request;
    request.url = url;
    request.headers = {{"User-Agent", *agent}};
    request.cachePolicy = HttpCachePolicy::RELOAD_IGNORING_LOCAL_CACHE;
    auto slots = perform(std::move(request), msecs, [](int) { return true; });
    response = std::move(slots->response);
    return finish(*slots, status, error);
  }

  std::optional<Data> post(const std::string& url, Data&& postData, const std::map<std::string, std::string>& headers,
                           std::int64_t msecs, std::int64_t& status, std::string& error) {
    MutexLock lock(m_mutex);
    ++m_inFlight;
    if (!isURL(url)) return std::nullopt;
    HttpRequest request;
    request.url = url;
    request.method = HttpRequest::Method::POST;
    request.headers = {headers.begin(), headers.end()};
    request.body = std::move(postData.bytes);
    return finish(*perform(std::move(request), msecs, [](int code) { return code == 200; }), status, error);
  }

 private:
  // Starts the request and waits for its end or the limit. `keepsBody` tells for which status the body is kept.
  std::shared_ptr<Slots> perform(HttpRequest request, std::int64_t msecs, bool (*keepsBody)(int))
      CORVANE_REQUIRES(m_mutex) {
    const std::int64_t usecs = checkedMul(msecs, 1000);
    request.timeout = static_cast<double>(msecs) / 1000.0;
    auto slots = std::make_shared<Slots>();
    const auto task = platform().httpSession().start(std::move(request), [this, slots, keepsBody](auto reply) {
      MutexLock lock(m_mutex);
      if (reply) {
        slots->status = reply->response.status;
        if (keepsBody(reply->response.status)) slots->body = Data{std::move(reply->body)};
        slots->response = std::move(reply->response);
      } else {
        slots->error = std::move(reply.error().description);
      }
      slots->done = true;
      lock.unlock();  // woken threads need it
      m_mutex.broadcast();
    });
    if (!task) {
      slots->error = task.error().description;
      return slots;
    }
    while (!slots->done) {
      // Any broadcast, including that of another request, restarts the full wait.
      if (!m_mutex.wait(usecs) || slots->done) continue;
      (*task)->cancel();
      slots->done = true;
    }
    return slots;
  }

  std::optional<Data> finish(Slots& slots, std::int64_t& status, std::string& error) CORVANE_REQUIRES(m_mutex) {
    status = slots.status;
    error = std::move(slots.error);
    --m_inFlight;
    m_mutex.broadcast();
    return std::move(slots.body);
  }

  Mutex m_mutex;
  std::int64_t m_inFlight CORVANE_GUARDED_BY(m_mutex) = 0;  // for debugging: nothing depends on it
};

}  // namespace

std::optional<std::string> HTTPResponse::header(std::string_view name) const {
  std::optional<std::string> joined;
  for (const auto& [key, value] : headers) {
    if (!equalIgnoringCase(key, name)) continue;
    joined = joined ? *joined + ", " + value : value;
  }
  return joined;
}

std::optional<Data> geturldataresponse(const std::string& request, std::int64_t msecs, std::int64_t& status,
                                       std::string& error, HTTPResponse& response) {
  return Requests::shared().get(request, msecs, status, error, response);
}

std::optional<Data> geturldata(const std::string& request, std::int64_t msecs, std::int64_t& status,
                               std::string& error) {
  HTTPResponse response;
  return geturldataresponse(request, msecs, status, error, response);
}

std::optional<std::string> geturl(const std::string& request, std::int64_t msecs, std::int64_t& status,
                                  std::string& error) {
  const auto body = geturldata(request, msecs, status, error);
  if (!body || status != 200) return std::nullopt;
  std::string text(body->bytes.begin(), body->bytes.end());
  return isUtf8(text) ? std::optional(std::move(text)) : std::nullopt;
}

std::optional<Data> posturl(const std::string& url, Data postData, const std::map<std::string, std::string>& headers,
                            std::int64_t msecs, std::int64_t& status, std::string& error) {
  return Requests::shared().post(url, std::move(postData), headers, msecs, status, error);
}

}  // namespace corvane
