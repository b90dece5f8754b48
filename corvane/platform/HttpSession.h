#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// Names and values, in order; a name may come more than once.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

/// What an HTTP server answered, apart from the body: of the last exchange if there were redirects.
struct HTTPResponse {
  int status = 0;       ///< 0 as long as there is no answer
  std::string url;      ///< where the answer came from, after redirects
  HttpHeaders headers;  ///< as received

  /// The value of a header, however its name is spelled; the values of several headers of that name joined by ", ".
  CORVANE_API std::optional<std::string> header(std::string_view name) const;
};

/// May an answer come from a store of earlier answers?
enum class HttpCachePolicy : std::uint8_t {
  USE_PROTOCOL = 0,                ///< as the protocol's rules allow
  RELOAD_IGNORING_LOCAL_CACHE = 1  ///< never from a store on this machine
};

/// What to ask of a server.
struct HttpRequest {
  enum class Method : std::uint8_t { GET, POST };

  std::string url;
  Method method = Method::GET;
  HttpHeaders headers;             ///< added to those that the exchange needs
  std::vector<std::uint8_t> body;  ///< of a POST
  HttpCachePolicy cachePolicy = HttpCachePolicy::USE_PROTOCOL;
  double timeout = 0;  ///< seconds for which nothing may move before the task fails; no limit if not positive
};

/// A complete answer; the body is what the server meant, whatever compression it travelled in.
struct HttpReply {
  HTTPResponse response;
  std::vector<std::uint8_t> body;
};

/// A request on its way. Dropping it does not end the request.
class HttpTask {
 public:
  virtual ~HttpTask() = default;

  /// Ends the request, whose completion is called with the Error "cancelled" unless it was on its way. Returns at once.
  /// Any thread.
  virtual void cancel() = 0;
};

/// The desktop's way to HTTP servers: http and https only, also after redirects. Certificates are checked. Redirects
/// are followed, at most 20 of them: after 301, 302 and 303 a POST goes on as a GET, after 307 and 308 it stays one.
/// Cookies are kept in memory for the life of the process, up to some thousands. Any thread.
///
/// On Linux one thread serves all requests of the process. It ends, and with it the connections that were kept, 5 s
/// after the last request; so does each resolver thread when the resolver answers, which delays nothing but its own
/// request. A forked child has a session of its own. There is no store of answers, so the cache policy changes nothing.
/// The environment chooses proxies (http_proxy, https_proxy, all_proxy, no_proxy) and the certificates of trusted
/// authorities in place of the system's (SSL_CERT_FILE, SSL_CERT_DIR).
class HttpSession {
 public:
  virtual ~HttpSession() = default;

  /// Receives the answer, or why there is none. Called once, on the session's thread, which it must not hold up.
  using Completion = std::function<void(Result<HttpReply>)>;

  /// Starts a request and returns at once. An Error, and no call of the completion, if there is nothing to start: a URL
  /// of another scheme ("unsupported URL"), a header that cannot be sent, no thread to be had.
  virtual Result<std::shared_ptr<HttpTask>> start(HttpRequest request, Completion completion) = 0;
};

template <>
CORVANE_API std::shared_ptr<HttpSession> makeService<HttpSession>();

}  // namespace corvane
