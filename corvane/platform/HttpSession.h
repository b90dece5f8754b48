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

/// Names and values, in order; a name may occur more than once.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

/// What an HTTP server answered, without the body; after redirects, that of the last exchange.
struct HTTPResponse {
  int status = 0;       ///< 0 as long as there is no answer
  std::string url;      ///< where the answer came from, after redirects
  HttpHeaders headers;  ///< as received

  /// The value of a header, whatever the case of its name; the values of several headers with that name are joined by
  /// ", ". std::nullopt if there is none.
  CORVANE_API std::optional<std::string> header(std::string_view name) const;
};

/// Whether an answer may come from a cache of earlier answers.
enum class HttpCachePolicy : std::uint8_t {
  USE_PROTOCOL = 0,                ///< as the protocol's rules allow
  RELOAD_IGNORING_LOCAL_CACHE = 1  ///< never from a cache on this machine
};

/// What to ask of a server.
struct HttpRequest {
  /// The kinds of request.
  enum class Method : std::uint8_t { GET, POST };

  std::string url;                                              ///< http or https
  Method method = Method::GET;                                  ///< what to do there
  HttpHeaders headers;                                          ///< in addition to those that the exchange needs
  std::vector<std::uint8_t> body;                               ///< of a POST
  HttpCachePolicy cachePolicy = HttpCachePolicy::USE_PROTOCOL;  ///< whether a stored answer will do
  double timeout = 0;  ///< seconds without any transfer before the task fails; no limit if not positive
};

/// A complete answer; the body is uncompressed.
struct HttpReply {
  HTTPResponse response;           ///< status and headers
  std::vector<std::uint8_t> body;  ///< all of it
};

/// A request in progress. Dropping the task does not end the request.
class HttpTask {
 public:
  virtual ~HttpTask() = default;

  /// Ends the request; its completion is called with the Error "cancelled" unless it is already being called. Returns
  /// at once. Any thread.
  virtual void cancel() = 0;
};

/// Access to HTTP servers: http and https only, including after redirects. Certificates are checked. At most 20
/// redirects are followed: after 301, 302 and 303 a POST becomes a GET, after 307 and 308 it remains a POST. Cookies
/// are kept in memory for the life of the process, up to a few thousand. Any thread.
///
/// On Linux one thread serves all requests of the process. It ends 5 s after the last request, together with the
/// connections that were kept open. Each resolver thread ends when the resolver answers; a slow answer delays only its
/// own request. A forked child has its own session. There is no cache of answers, so the cache policy has no effect.
/// The environment selects proxies (http_proxy, https_proxy, all_proxy, no_proxy) and may replace the system's trusted
/// certificates (SSL_CERT_FILE, SSL_CERT_DIR).
///
/// @feature HTTP: `geturl` and its siblings.
/// @needs A network; certificates (`ca-certificates`).
/// @without Requests end with status 0 and the reason.
class HttpSession {
 public:
  virtual ~HttpSession() = default;

  /// Receives the answer, or the reason why there is none. Called once, on the session's thread, which it must not
  /// block.
  using Completion = std::function<void(Result<HttpReply>)>;

  /// Starts a request and returns at once. An Error, and no call of the completion, if the request cannot be started: a
  /// URL with another scheme ("unsupported URL"), a header that cannot be sent, or no thread available.
  virtual Result<std::shared_ptr<HttpTask>> start(HttpRequest request, Completion completion) = 0;
};

template <>
CORVANE_API std::shared_ptr<HttpSession> makeService<HttpSession>();

}  // namespace corvane
