#include "corvane/linux/bus/AssertionKinds.h"

#include <errno.h>

#include <algorithm>
#include <array>

namespace corvane {

namespace {

constexpr std::array KINDS = {
    AssertionKind{"PreventUserIdleDisplaySleep", true, false},
    AssertionKind{"PreventUserIdleSystemSleep", false, false},
    AssertionKind{"PreventSystemSleep", false, true},
    AssertionKind{"NoIdleSleepAssertion", false, false},
    AssertionKind{"NoDisplaySleepAssertion", true, false},
    AssertionKind{"NetworkClientActive", false, false},
};

struct Meaning {
  std::string_view name;  // of a D-Bus error, after "org.freedesktop.DBus.Error."
  int code;
};

constexpr std::array MEANINGS = {
    Meaning{"ServiceUnknown", ENOTSUP},   Meaning{"NameHasNoOwner", ENOTSUP}, Meaning{"UnknownMethod", ENOTSUP},
    Meaning{"UnknownInterface", ENOTSUP}, Meaning{"UnknownObject", ENOTSUP},  Meaning{"NoReply", ECONNRESET},
    Meaning{"Disconnected", ECONNRESET},  Meaning{"LimitsExceeded", EAGAIN},
};

int codeOf(const Error& error) {
  static constexpr std::string_view STANDARD = "org.freedesktop.DBus.Error.";
  if (error.domain == "posix") return error.code;
  if (error.domain == g_quark_to_string(G_IO_ERROR) && error.code == G_IO_ERROR_CLOSED) return ECONNRESET;
  // What is not the name of an error on the bus is a failure to connect.
  if (error.domain.find('.') == std::string::npos) return ENOTSUP;
  if (!error.domain.starts_with(STANDARD)) return EACCES;
  const auto meaning =
      std::ranges::find(MEANINGS, std::string_view(error.domain).substr(STANDARD.size()), &Meaning::name);
  return meaning == MEANINGS.end() ? EACCES : meaning->code;
}

}  // namespace

const AssertionKind* assertionKind(std::string_view type) {
  const auto kind = std::ranges::find(KINDS, type, &AssertionKind::type);
  return kind == KINDS.end() ? nullptr : &*kind;
}

Error powerError(Error error) {
  error.code = codeOf(error);
  error.domain = "posix";
  return error;
}

}  // namespace corvane
