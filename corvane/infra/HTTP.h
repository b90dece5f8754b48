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
/// main thread of a program with windows, which would stand still meanwhile. corvane/platform/HttpSession.h says what
/// the transport does.
///
/// `msecs` limits the wait for the whole answer, including the resolution of the server's name. When it is over the
/// request is cancelled. It is not exact: each request of the process that ends starts the wait of the others anew, and
/// then `msecs` without a byte from the server end the request. A negative limit waits for ever; 0 gives up at once;
/// more than an int64_t has microseconds is fatal.
///
/// `status` and `error` say what happened:
///
///     an answer                    the server's status, an empty error
///     no answer                    0, and what the transport says: "Could not resolve host: …", "unsupported URL", …
///     the limit is over            0, and an empty error (or the transport's)
///     not a URL, or, except for
///     a POST, a main bundle
///     without a version            both are left as they were: nothing was sent
///
/// A URL is a URI or a relative reference by RFC 3986: not empty, without blanks, controls, characters beyond ASCII and
/// any of "<>\^`{|}, with two digits after each %, brackets only around an IPv6 address, a valid port, and a host if
/// the scheme is http or https. Relative references and other schemes are URLs, but get "unsupported URL".

namespace corvane {

/// The body that a GET of `request` answers with, whatever the status (404 pages have one too). The user agent is the
/// main bundle's appVersionName(). Nothing is taken from a cache of this machine.
CORVANE_API std::optional<Data> geturldata(const std::string& request, std::int64_t msecs, std::int64_t& status,
                                           std::string& error);

/// The same; `response` receives what came with the body, an empty one if there is no answer.
CORVANE_API std::optional<Data> geturldataresponse(const std::string& request, std::int64_t msecs, std::int64_t& status,
                                                   std::string& error, HTTPResponse& response);

/// The same as text; std::nullopt if the status is not 200 or the body is not UTF-8.
CORVANE_API std::optional<std::string> geturl(const std::string& request, std::int64_t msecs, std::int64_t& status,
                                              std::string& error);

/// The body that a POST of `postData` to `url` answers with; std::nullopt if the status is not 200. `headers` are sent
/// as they are, with a user agent only if it is one of them; the content type is that of a form unless they say
/// otherwise.
CORVANE_API std::optional<Data> posturl(const std::string& url, Data postData,
                                        const std::map<std::string, std::string>& headers, std::int64_t msecs,
                                        std::int64_t& status, std::string& error);

}  // namespace corvane
