#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/DiagnosticsPort.h"

/// What programs show of themselves, as it goes over D-Bus: org.corvane.Diagnostics1.xml describes it.
namespace corvane::diagnostics {

inline constexpr char OBJECT[] = "/org/corvane/Diagnostics";
inline constexpr char INTERFACE[] = "org.corvane.Diagnostics1";
inline constexpr std::uint32_t VERSION = 1;

/// Prefix of the names of errors with the domain "posix"; the name of the code follows.
inline constexpr char ERROR_PREFIX[] = "org.corvane.Diagnostics1.Error.";

/// The names of the repeaters of one program that a viewer has learned.
struct RepeaterNames {
  std::uint64_t known = 0;  ///< the greatest id that was seen
  std::unordered_map<std::uint64_t, std::string> names;
};

/// The arguments of a call, or of an answer: a tuple with a floating reference.
///
/// Large tables are parallel arrays of plain numbers, because these are copied in one go, while of everything else
/// GLib makes an object for each element, on both sides.
GVariant* encode(const ProgramIdentity& identity);
GVariant* encode(const std::vector<RepeaterState>& repeaters, std::uint64_t known);
GVariant* encode(const QueueStates& states);
GVariant* encode(const std::vector<ListenerState>& listeners);
GVariant* encode(const LogState& log);
GVariant* encode(const std::vector<SettingState>& settings);
GVariant* encode(const Recording& recording);
GVariant* encode(const LongSpans& spans);
GVariant* encode(const std::tuple<>& nothing);
GVariant* encode(const std::tuple<double>& number);
GVariant* encode(const std::tuple<std::uint64_t>& number);
GVariant* encode(const std::tuple<std::uint64_t, bool>& pair);
GVariant* encode(const std::tuple<std::uint64_t, std::int64_t>& pair);
GVariant* encode(const std::tuple<LogPlace, std::uint64_t>& pair);

/// The reverse, for each of these types: EPROTO for what has another type or contradicts itself. The variant must come
/// from a D-Bus message, by whomever it was sent.
template <class T>
Result<T> decode(GVariant* arguments);

/// The repeaters of an answer to a call with names.known, and what is new for `names`. std::nullopt, and names.known
/// is 0, if names are missing: ask again.
Result<std::optional<std::vector<RepeaterState>>> decodeRepeaters(GVariant* arguments, std::uint64_t known,
                                                                  RepeaterNames& names);

}  // namespace corvane::diagnostics
