#include "corvane/infra/HTTP.h"

#include <glib.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <utility>

#include "corvane/core/Checked.h"
#include "corvane/core/Mutex.h"
#include "corvane/core/PerProcess.h"
#include "corvane/infra/Bundle.h"
#include "corvane/platform/Platform.h"

namespace corvane {

namespace {

// A URI or a relative reference (RFC 3986, 4.1). GLib takes the text apart and knows escapes, ports and IPv6 addresses;
// it is lenient about the characters.
bool isURL(const std::string& text) {
  static constexpr std::string_view MARKS = "-._~:/?#[]@!$&'()*+,;=%";
  const auto allowed = [](char c) {
    return g_ascii_isalnum(c) || (c != '\0' && MARKS.find(c) != std::string_view::npos);
  };
  if (text.empty() || !std::ranges::all_of(text, allowed) || std::ranges::count(text, '#') > 1) return false;
  std::array<char*, 6> parts{};
  auto& [scheme, user, host, path, query, fragment] = parts;
  if (!g_uri_split(text.c_str(), G_URI_FLAGS_ENCODED, &scheme, &user, &host, nullptr, &path, &query, &fragment,
                   nullptr))
    return false;
  // The host has lost its own brackets. What comes before a colon in the first segment would be a scheme.
  const bool brackets = std::ranges::any_of(
      parts, [](const char* part) { return part && std::string_view(part).find_first_of("[]") != std::string::npos; });
  const bool colon = !scheme && text.find(':') < text.find_first_of("/?#");
  for (char* part : parts) g_free(part);
  return !brackets && !colon;
}

// What a call shares with the completion of its request, which may outlive it.
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
  // Starts the request and waits for its end or the limit. `keepsBody` says with which status the body counts.
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
      lock.unlock();  // whom the broadcast wakes wants it
      m_mutex.broadcast();
    });
    if (!task) {
      slots->error = task.error().description;
      return slots;
    }
    while (!slots->done) {
      // Any broadcast, also that of another request, starts a full new wait.
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
  std::int64_t m_inFlight CORVANE_GUARDED_BY(m_mutex) = 0;  // for whoever debugs: nothing depends on it
};

}  // namespace

std::optional<std::string> HTTPResponse::header(std::string_view name) const {
  std::optional<std::string> joined;
  for (const auto& [key, value] : headers) {
    if (key.size() != name.size() || strncasecmp(key.data(), name.data(), name.size()) != 0) continue;
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
  return g_utf8_validate_len(text.data(), text.size(), nullptr) ? std::optional(std::move(text)) : std::nullopt;
}

std::optional<Data> posturl(const std::string& url, Data postData, const std::map<std::string, std::string>& headers,
                            std::int64_t msecs, std::int64_t& status, std::string& error) {
  return Requests::shared().post(url, std::move(postData), headers, msecs, status, error);
}

}  // namespace corvane
