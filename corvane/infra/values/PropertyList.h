#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Value.h"

/// Property lists: the files that desktop applications keep their descriptions and settings in, as XML or binary.
///
/// The XML form is the one of the document type http://www.apple.com/DTDs/PropertyList-1.0.dtd. The binary form is the
/// one whose files start with "bplist00" and end with a table of object offsets and a trailer of 32 bytes.
///
/// All functions may be called from any thread. They fail with an Error of the domain "propertylist" and code 0, whose
/// description says what is wrong and where: the line of an XML list, the object and byte of a binary one, the keys
/// that lead to a Value that cannot be written. The functions for files also fail with the domain "posix" and an errno
/// code when the system refuses, and start the description with the path.
namespace corvane {

/// How many dictionaries and arrays within each other a property list may hold, the outermost counted.
inline constexpr std::size_t MAX_PROPERTY_LIST_DEPTH = 512;

/// What readPropertyList() puts up with before it fails, so that no list, however hostile, takes much memory or time.
struct PropertyListLimits {
  std::size_t maxBytes = std::size_t{64} << 20;  ///< size of the list itself, in bytes
  /// Dictionaries and arrays within each other; more than MAX_PROPERTY_LIST_DEPTH is taken as that. Reading a binary
  /// list, writing any list and working with a Value take up to 1 KiB of stack for each: lower this where the result is
  /// used on a thread with a small stack.
  std::size_t maxDepth = MAX_PROPERTY_LIST_DEPTH;
  /// Values in the result, those in dictionaries and arrays and these themselves included. A binary list may refer to
  /// one object many times: each time counts.
  std::size_t maxValues = 1'000'000;
  /// Bytes of all strings, keys and data in the result, in bytes of UTF-8; here, too, each reference counts.
  std::size_t maxExpandedBytes = std::size_t{256} << 20;
};

enum class PropertyListFormat { XML, BINARY };

/// Reads a property list, whose format shows in its first bytes.
///
/// Where a dictionary holds a key twice, the last entry counts. Everything else out of order fails: elements out of
/// place, an integer that 64 bits with sign cannot hold, a date that is not in the calendar, data that is not Base64,
/// objects that refer to themselves.
///
/// XML has to be in UTF-8, with or without a byte order mark, and may start with white space. Its document type is
/// passed over and must not declare anything: of the named entities only amp, lt, gt, quot and apos are known.
/// Attributes are passed over. Integers may be hexadecimal with 0x, reals may be "nan", "inf" and "infinity" in any
/// case and with a sign, dates are "YYYY-MM-DDThh:mm:ssZ" in the years 0000 to 9999; white space around all of these is
/// passed over.
///
/// A binary set is read as an array, and the reference numbers of keyed archives (UID) as the dictionary {"CF$UID":
/// number} that XML lists use for them. A null object fails.
CORVANE_API Result<Value> readPropertyList(std::string_view bytes, const PropertyListLimits& limits = {});

/// Reads a property list from a regular file. Anything else at the path fails at once, so no pipe makes this wait.
CORVANE_API Result<Value> readPropertyListFile(const std::string& path, const PropertyListLimits& limits = {});

/// Writes a property list that readPropertyList() reads back as an equal Value, with one exception: XML dates have
/// whole seconds, so fractions are rounded down there. Keys are sorted by their bytes, so one Value always gives the
/// same list.
///
/// Fails when the Value is nested deeper than MAX_PROPERTY_LIST_DEPTH, holds a string or key that is not UTF-8, or a
/// date that is not finite. XML fails as well with characters that XML 1.0 forbids (most below U+0020, U+FFFE and
/// U+FFFF) and with dates outside the years 0000 to 9999. The limits on reading are not applied.
///
/// The dictionary {"CF$UID": number} is written as that, in binary too.
CORVANE_API Result<std::string> writePropertyList(const Value& value, PropertyListFormat format);

/// Writes a property list to a file, all or nothing: the bytes go to a new file in the same folder, are brought to the
/// disk, and then take over the name. On failure the file that was there before is untouched and nothing is left
/// behind.
///
/// The file gets the mode 0644 less the umask, also where it replaces one with another mode; where the path is a
/// symbolic link, the file replaces the link.
CORVANE_API Result<void> writePropertyListFile(const Value& value, const std::string& path, PropertyListFormat format);

}  // namespace corvane
