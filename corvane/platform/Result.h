#pragma once

#include <string>
#include <tl/expected.hpp>

namespace corvane {

/// Why a call failed. `description` is a sentence for people and for the log.
struct Error {
  std::string domain;       ///< the source of the error: "posix", "dbus", "propertylist", …
  int code = 0;             ///< the domain's own number, 0 if it has none
  std::string description;  ///< for people
};

/// What a call that can fail returns: the value, or the Error.
template <class T>
using Result = tl::expected<T, Error>;

/// The failure side of a Result.
inline tl::unexpected<Error> failure(std::string domain, int code, std::string description) {
  return tl::unexpected<Error>(Error{std::move(domain), code, std::move(description)});
}

}  // namespace corvane
