#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"
#include "corvane/platform/Value.h"

/// @file
/// Property lists: the files in which desktop applications keep their descriptions and settings, as XML or binary.
///
/// The XML form is the one of the document type http://www.apple.com/DTDs/PropertyList-1.0.dtd. The binary form is the
/// one whose files start with "bplist00" and end with a table of object offsets and a trailer of 32 bytes.
///
/// All functions may be called from any thread. They fail with an Error of the domain "propertylist" and code 0, whose
/// description says what is wrong and where: the line of an XML list, the object and byte of a binary list, or the keys
/// that lead to a Value that cannot be written. The functions for files also fail with the domain "posix" and an errno
/// code when the system refuses, and start the description with the path.
namespace corvane {

/// How deeply dictionaries and arrays may be nested in a property list, counting the outermost.
inline constexpr std::size_t MAX_PROPERTY_LIST_DEPTH = 512;

/// The limits beyond which readPropertyList() fails, so that no list, however hostile, takes much memory or time.
struct PropertyListLimits {
  std::size_t maxBytes = std::size_t{64} << 20;  ///< size of the list itself, in bytes
  /// How deeply dictionaries and arrays may be nested; more than MAX_PROPERTY_LIST_DEPTH counts as that. Reading a
  /// binary list, writing any list and working with a Value take up to 1 KiB of stack for each level: lower this if the
  /// result is used on a thread with a small stack.
  std::size_t maxDepth = MAX_PROPERTY_LIST_DEPTH;
  /// Values in the result, including dictionaries and arrays and their contents. A binary list may refer to one object
  /// many times: each reference counts.
  std::size_t maxValues = 1'000'000;
  /// Bytes of all strings and keys (as UTF-8) and data in the result; here, too, each reference counts.
  std::size_t maxExpandedBytes = std::size_t{256} << 20;
};

/// The two encodings of property lists: text, and the more compact one.
enum class PropertyListFormat { XML, BINARY };

/// Reads a property list; its format is recognised by its first bytes.
///
/// If a dictionary has a key twice, the last entry counts. Any other irregularity makes it fail: misplaced elements, an
/// integer that does not fit 64 bits with sign, a date that is not in the calendar, data that is not Base64, objects
/// that refer to themselves.
///
/// XML must be in UTF-8, with or without a byte order mark, and may start with white space. Its document type is
/// ignored and must not declare anything: the only named entities are amp, lt, gt, quot and apos. Attributes are
/// ignored. Integers may be hexadecimal with 0x, reals may be "nan", "inf" and "infinity" in any case and with a sign,
/// dates are "YYYY-MM-DDThh:mm:ssZ" in the years 0000 to 9999; white space around all of these is ignored.
///
/// A binary set is read as an array, and the reference numbers of keyed archives (UID) as the dictionary {"CF$UID":
/// number} that XML lists use for them. A null object fails.
CORVANE_API Result<Value> readPropertyList(std::string_view bytes, const PropertyListLimits& limits = {});

/// Reads a property list from a regular file. Anything else at the path fails at once, so a pipe does not block.
CORVANE_API Result<Value> readPropertyListFile(const std::string& path, const PropertyListLimits& limits = {});

/// Writes a property list that readPropertyList() reads back as an equal Value, with one exception: XML dates have
/// whole seconds, so fractions are rounded down. Keys are sorted by their bytes, so equal Values give the same list.
///
/// Fails when the Value is nested deeper than MAX_PROPERTY_LIST_DEPTH, holds a string or key that is not UTF-8, or a
/// date that is not finite. XML fails as well with characters that XML 1.0 forbids (most below U+0020, U+FFFE and
/// U+FFFF) and with dates outside the years 0000 to 9999. The limits on reading do not apply.
///
/// The dictionary {"CF$UID": number} is written as a dictionary, even in binary.
CORVANE_API Result<std::string> writePropertyList(const Value& value, PropertyListFormat format);

/// Writes a property list to a file, all or nothing: the bytes are written to a new file in the same folder and synced
/// to disk; the file then takes over the name. On failure an existing file is untouched and nothing is left behind.
///
/// The file gets the mode 0644 less the umask, even if it replaces one with another mode; if the path is a symbolic
/// link, the file replaces the link.
CORVANE_API Result<void> writePropertyListFile(const Value& value, const std::string& path, PropertyListFormat format);

}  // namespace corvane
