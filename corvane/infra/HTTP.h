#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/HttpSession.h"
#include "corvane/platform/Value.h"

/// @file
/// Blocking HTTP requests with a time limit. They may be called from any thread, any number at once, but not from the
/// main thread of a program with windows, whose windows would freeze. corvane/platform/HttpSession.h describes the
/// transport.
///
/// `msecs` limits the wait for the whole answer, including the resolution of the server's name. After that the request
/// is cancelled. The limit is not exact: each request of the process that ends restarts the wait of the others, and
/// then `msecs` without a byte from the server end the request. A negative limit waits forever; 0 gives up at once; a
/// limit that does not fit an int64_t in microseconds is fatal.
///
/// `status` and `error` report what happened:
///
///     an answer                    the server's status, an empty error
///     no answer                    0, and what the transport says: "Could not resolve host: …", "unsupported URL", …
///     the limit is over            0, and an empty error (or the transport's)
///     not a URL, or, except for
///     a POST, a main bundle
///     without a version            both are left as they were: nothing was sent
///
/// A URL is a URI or a relative reference according to RFC 3986: not empty; without blanks, control characters,
/// characters beyond ASCII and any of "<>\^`{|}; with two hexadecimal digits after each %, brackets only around an IPv6
/// address, a valid port, and a host if the scheme is http or https. Relative references and other schemes are URLs,
/// but get "unsupported URL".

namespace corvane {

/// The body of the answer to a GET of `request`, whatever the status (404 pages have one too). The user agent is the
/// main bundle's appVersionName(). Nothing is taken from a local cache.
CORVANE_API std::optional<Data> geturldata(const std::string& request, std::int64_t msecs, std::int64_t& status,
                                           std::string& error);

/// The same; `response` receives the rest of the answer, or an empty response if there is no answer.
CORVANE_API std::optional<Data> geturldataresponse(const std::string& request, std::int64_t msecs, std::int64_t& status,
                                                   std::string& error, HTTPResponse& response);

/// The same, as text; std::nullopt if the status is not 200 or the body is not UTF-8.
CORVANE_API std::optional<std::string> geturl(const std::string& request, std::int64_t msecs, std::int64_t& status,
                                              std::string& error);

/// The body of the answer to a POST of `postData` to `url`; std::nullopt if the status is not 200. `headers` are sent
/// as they are; there is a user agent only if it is one of them. The content type is that of a form unless they say
/// otherwise.
CORVANE_API std::optional<Data> posturl(const std::string& url, Data postData,
                                        const std::map<std::string, std::string>& headers, std::int64_t msecs,
                                        std::int64_t& status, std::string& error);

}  // namespace corvane
