#include "corvane/infra/values/PropertyList.h"

#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <unordered_map>

#include "corvane/core/Files.h"

namespace corvane {
namespace {

using namespace std::string_view_literals;

constexpr auto BINARY_MAGIC = "bplist00"sv;
constexpr auto WHITE_SPACE = " \t\r\n"sv;

tl::unexpected<Error> invalid(std::string description) {
  return failure("propertylist", 0, std::move(description));
}

bool isAscii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

using GText = std::unique_ptr<char, decltype(&g_free)>;

/// Takes one code point off the front of `text`; nothing when it does not start with valid UTF-8.
std::optional<gunichar> takeCodePoint(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) {
    text.remove_prefix(1);
    return lead;
  }
  const gunichar point = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
  if (point > 0x10FFFF) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(g_unichar_to_utf8(point, nullptr)));
  return point;
}

void appendCodePoint(std::string& text, gunichar point) {
  std::array<char, 6> bytes;
  text.append(bytes.data(), static_cast<std::size_t>(g_unichar_to_utf8(point, bytes.data())));
}

bool isXmlCharacter(gunichar point) {
  if (point < 0x20) return point == '\t' || point == '\n' || point == '\r';
  return point != 0xFFFE && point != 0xFFFF;
}

/// What keeps `text` out of a list of that format; nullptr when nothing does.
const char* defectOf(std::string_view text, PropertyListFormat format) {
  while (!text.empty()) {
    const std::optional<gunichar> point = takeCodePoint(text);
    if (!point) return "text that is not valid UTF-8";
    if (format == PropertyListFormat::XML && !isXmlCharacter(*point)) return "a character that XML does not allow";
  }
  return nullptr;
}

/// What may still be read before the limits are reached.
class Budget {
 public:
  explicit Budget(const PropertyListLimits& limits)
      : m_depth(std::min(limits.maxDepth, MAX_PROPERTY_LIST_DEPTH)),
        m_values(limits.maxValues),
        m_bytes(limits.maxExpandedBytes) {}

  /// These return why the limit is passed, or nullptr.
  const char* takeValues(std::uint64_t count) { return take(m_values, count) ? nullptr : "too many values"; }
  const char* takeBytes(std::uint64_t count) {
    return take(m_bytes, count) ? nullptr : "too many bytes of text and data";
  }
  const char* enterDepth(std::size_t depth) const { return depth <= m_depth ? nullptr : "nested too deeply"; }

 private:
  static bool take(std::uint64_t& left, std::uint64_t count) {
    if (count > left) return false;
    left -= count;
    return true;
  }

  std::size_t m_depth;
  std::uint64_t m_values;
  std::uint64_t m_bytes;
};

// Plain values in XML

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(WHITE_SPACE);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(WHITE_SPACE) - first + 1);
}

bool isBlank(std::string_view text) {
  return text.find_first_not_of(WHITE_SPACE) == text.npos;
}

/// Takes a sign off the front of `text` and tells whether it was a minus.
bool takeMinus(std::string_view& text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  return negative;
}

Result<Value> parseInteger(std::string_view text) {
  std::string_view digits = text;
  const bool negative = takeMinus(digits);
  const bool hexadecimal = digits.starts_with("0x") || digits.starts_with("0X");
  if (hexadecimal) digits.remove_prefix(2);

  std::uint64_t magnitude = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, problem] = std::from_chars(digits.data(), end, magnitude, hexadecimal ? 16 : 10);
  if (problem == std::errc::invalid_argument || stop != end) return invalid("<integer> is not a whole number");
  const std::uint64_t most = std::uint64_t{std::numeric_limits<std::int64_t>::max()} + (negative ? 1 : 0);
  if (problem != std::errc() || magnitude > most) return invalid("<integer> does not fit 64 bits with sign");
  return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

Result<Value> parseReal(std::string_view text) {
  std::string_view digits = text;
  const bool negative = takeMinus(digits);
  double magnitude = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, problem] = std::from_chars(digits.data(), end, magnitude);
  if (problem == std::errc::result_out_of_range) return invalid("<real> is beyond the range of a double");
  // from_chars() would also take a second sign, and "nan(text)".
  if (problem != std::errc() || stop != end || digits.starts_with('-') || digits.ends_with(')'))
    return invalid("<real> is not a number");
  return negative ? -magnitude : magnitude;
}

using Days = std::chrono::sys_days;
using Seconds = std::chrono::sys_seconds;
constexpr Days DAY_ZERO = std::chrono::year(2001) / 1 / 1;
constexpr double SECONDS_PER_DAY = 86400;
constexpr double FIRST_XML_SECOND = (Days(std::chrono::year(0) / 1 / 1) - DAY_ZERO).count() * SECONDS_PER_DAY;
constexpr double END_OF_XML_SECONDS = (Days(std::chrono::year(10000) / 1 / 1) - DAY_ZERO).count() * SECONDS_PER_DAY;

Result<Value> parseDate(std::string_view text) {
  constexpr auto SHAPE = "0000-00-00T00:00:00Z"sv;
  const auto matches = [](char actual, char expected) {
    return expected == '0' ? g_ascii_isdigit(actual) : actual == expected;
  };
  if (!std::equal(text.begin(), text.end(), SHAPE.begin(), SHAPE.end(), matches))
    return invalid("<date> is not of the form YYYY-MM-DDThh:mm:ssZ");

  const auto number = [text](std::size_t from, std::size_t length) {
    int result = 0;
    for (const char digit : text.substr(from, length)) result = result * 10 + (digit - '0');
    return result;
  };
  const std::chrono::year_month_day day(std::chrono::year(number(0, 4)),
                                        std::chrono::month(static_cast<unsigned>(number(5, 2))),
                                        std::chrono::day(static_cast<unsigned>(number(8, 2))));
  const int hour = number(11, 2);
  const int minute = number(14, 2);
  const int second = number(17, 2);
  if (!day.ok() || hour > 23 || minute > 59 || second > 59) return invalid("<date> is not in the calendar");
  return Date{static_cast<double>((Days(day) - DAY_ZERO).count()) * SECONDS_PER_DAY + hour * 3600 + minute * 60 +
              second};
}

std::string formatDate(Date date) {
  const Seconds moment = DAY_ZERO + std::chrono::seconds(static_cast<std::int64_t>(std::floor(date.seconds)));
  const Days midnight = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day day(midnight);
  const std::chrono::hh_mm_ss time(moment - midnight);
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(day.year()),
                static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
  return text.data();
}

std::string base64(const std::uint8_t* bytes, std::size_t size) {
  return GText(g_base64_encode(bytes, size), g_free).get();
}

Result<Value> parseData(std::string text) {
  std::erase_if(text, [](char c) { return WHITE_SPACE.find(c) != WHITE_SPACE.npos; });
  std::size_t size = 0;
  const GText decoded(reinterpret_cast<char*>(g_base64_decode(text.c_str(), &size)), g_free);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(decoded.get());
  // GLib passes over whatever it cannot decode; encoding again shows whether it did.
  if (base64(bytes, size) != text) return invalid("<data> is not Base64");
  return Data{{bytes, bytes + size}};
}

// Reading XML

/// Builds a Value from the elements and texts that GMarkup finds.
class XmlReader {
 public:
  explicit XmlReader(const PropertyListLimits& limits) : m_budget(limits) {}

  Result<Value> read(std::string_view bytes);

 private:
  /// An element that is still open and holds others: plist, dict or array. A plist is an array of at most one value.
  struct Container {
    std::string element;
    Value::Array values;
    Value::Dictionary entries;
    std::optional<std::string> key;  ///< in a dict, waiting for its value
  };

  Result<void> start(std::string_view element);
  Result<void> checkPlace(std::string_view element) const;
  Result<void> addText(std::string_view text);
  Result<void> end();
  Result<void> endPlain();
  Result<void> endContainer();
  Result<Value> plainValue();
  void add(Value value);

  static XmlReader& self(gpointer reader) { return *static_cast<XmlReader*>(reader); }
  static void report(const Result<void>& result, GError** error) {
    if (!result) g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_PARSE, result.error().description.c_str());
  }

  Budget m_budget;
  std::vector<Container> m_open;
  std::string m_plain;  ///< the open element that holds only text; empty when there is none
  std::string m_text;
  std::optional<Value> m_result;
};

Result<Value> XmlReader::read(std::string_view bytes) {
  const char* valid = nullptr;
  if (!g_utf8_validate(bytes.data(), static_cast<gssize>(bytes.size()), &valid))
    return invalid("line " + std::to_string(1 + std::count(bytes.data(), valid, '\n')) + ": not valid UTF-8");

  constexpr GMarkupParser PARSER = {
      [](GMarkupParseContext*, const char* element, const char**, const char**, gpointer reader, GError** error) {
        report(self(reader).start(element), error);
      },
      [](GMarkupParseContext*, const char*, gpointer reader, GError** error) { report(self(reader).end(), error); },
      [](GMarkupParseContext*, const char* text, gsize size, gpointer reader, GError** error) {
        report(self(reader).addText({text, size}), error);
      },
      nullptr, nullptr};
  constexpr auto FLAGS = static_cast<GMarkupParseFlags>(G_MARKUP_TREAT_CDATA_AS_TEXT | G_MARKUP_PREFIX_ERROR_POSITION);
  const std::unique_ptr<GMarkupParseContext, decltype(&g_markup_parse_context_free)> context(
      g_markup_parse_context_new(&PARSER, FLAGS, this, nullptr), g_markup_parse_context_free);

  GError* error = nullptr;
  if (!g_markup_parse_context_parse(context.get(), bytes.data(), static_cast<gssize>(bytes.size()), &error) ||
      !g_markup_parse_context_end_parse(context.get(), &error)) {
    auto result = invalid(error->message);
    g_error_free(error);
    return result;
  }
  if (!m_result) return invalid("the XML holds no <plist>");
  return std::move(*m_result);
}

Result<void> XmlReader::checkPlace(std::string_view element) const {
  constexpr std::array VALUE_ELEMENTS = {"dict"sv, "array"sv, "string"sv, "integer"sv, "real"sv,
                                         "true"sv, "false"sv, "date"sv,   "data"sv};
  const std::string tag = "<" + std::string(element) + ">";
  if (!m_plain.empty()) return invalid(tag + " inside <" + m_plain + ">");
  if (m_open.empty()) {
    if (element != "plist" || m_result) return invalid(tag + " where only one <plist> can be");
    return {};
  }
  const Container& parent = m_open.back();
  if (element == "key") {
    if (parent.element != "dict" || parent.key) return invalid(tag + " where a value has to be");
    return {};
  }
  if (std::ranges::find(VALUE_ELEMENTS, element) == VALUE_ELEMENTS.end()) return invalid(tag + " is not known here");
  if (parent.element == "dict" && !parent.key) return invalid(tag + " where a <key> has to be");
  if (parent.element == "plist" && !parent.values.empty()) return invalid(tag + " is a second value in <plist>");
  return {};
}

Result<void> XmlReader::start(std::string_view element) {
  if (auto place = checkPlace(element); !place) return place;
  const bool value = element != "plist" && element != "key";
  if (const char* problem = m_budget.takeValues(value ? 1 : 0)) return invalid(problem);
  if (element == "plist" || element == "dict" || element == "array") {
    // The plist is among the open ones, so their number is the depth of the one that opens now.
    if (const char* problem = m_budget.enterDepth(m_open.size())) return invalid(problem);
    m_open.push_back({std::string(element), {}, {}, {}});
  } else {
    m_plain = element;
    m_text.clear();
  }
  return {};
}

Result<void> XmlReader::addText(std::string_view text) {
  if (!m_plain.empty())
    m_text += text;
  else if (!isBlank(text))
    return invalid("text outside of a value");
  return {};
}

Result<void> XmlReader::end() {
  return m_plain.empty() ? endContainer() : endPlain();
}

Result<void> XmlReader::endPlain() {
  if (m_plain == "key" || m_plain == "string") {
    if (const char* defect = defectOf(m_text, PropertyListFormat::XML))
      return invalid("<" + m_plain + "> holds " + defect);
    if (const char* problem = m_budget.takeBytes(m_text.size())) return invalid(problem);
  }
  if (m_plain == "key") {
    m_open.back().key = std::move(m_text);
  } else {
    auto value = plainValue();
    if (!value) return tl::unexpected(value.error());
    add(*std::move(value));
  }
  m_plain.clear();
  return {};
}

Result<Value> XmlReader::plainValue() {
  if (m_plain == "string") return std::move(m_text);
  if (m_plain == "integer") return parseInteger(trimmed(m_text));
  if (m_plain == "real") return parseReal(trimmed(m_text));
  if (m_plain == "date") return parseDate(trimmed(m_text));
  if (m_plain == "data") {
    auto data = parseData(std::move(m_text));
    if (!data) return data;
    if (const char* problem = m_budget.takeBytes(data->asData()->bytes.size())) return invalid(problem);
    return data;
  }
  if (!isBlank(m_text)) return invalid("<" + m_plain + "> holds text");
  return m_plain == "true";
}

Result<void> XmlReader::endContainer() {
  Container done = std::move(m_open.back());
  m_open.pop_back();
  if (done.key) return invalid("the last <key> in <dict> has no value");
  if (done.element == "plist") {
    if (done.values.empty()) return invalid("<plist> holds no value");
    m_result = std::move(done.values.front());
  } else if (done.element == "dict") {
    add(std::move(done.entries));
  } else {
    add(std::move(done.values));
  }
  return {};
}

void XmlReader::add(Value value) {
  Container& parent = m_open.back();
  if (parent.key) {
    parent.entries.insert_or_assign(parent.entries.end(), std::move(*parent.key), std::move(value));
    parent.key.reset();
  } else {
    parent.values.push_back(std::move(value));
  }
}

// Reading binary

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

/// Builds a Value from the objects of a binary list, each as often as it is referred to.
///
/// The list is the magic bytes, the objects, a table of their offsets, and a trailer: 5 unused bytes, the sort version,
/// the sizes of an offset and of a reference, 8 bytes each for the number of objects, the top object and the table's
/// offset. An object starts with a marker: the high half tells the kind, the low half is the count of what follows (15:
/// an integer object with the count follows) or the binary logarithm of a number's size.
class BinaryReader {
 public:
  BinaryReader(std::string_view bytes, const PropertyListLimits& limits) : m_bytes(bytes), m_budget(limits) {}

  Result<Value> read();

 private:
  struct Object {
    std::uint64_t index;
    std::uint64_t offset;
    unsigned kind;
    unsigned info;
    std::string_view rest;  ///< from behind what has been read of it to the end of all objects
  };

  bool readTrailer();
  bool readValue(std::uint64_t index, std::size_t depth, Value& value);
  bool readContent(Object& object, std::size_t depth, Value& value);
  bool readSimple(const Object& object, Value& value);
  bool readInteger(Object& object, Value& value);
  bool readReal(Object& object, Value& value);
  bool readDate(Object& object, Value& value);
  bool readData(Object& object, Value& value);
  bool readText(Object& object, std::string& text);
  bool readUid(Object& object, Value& value);
  bool readArray(Object& object, std::size_t depth, Value& value);
  bool readDictionary(Object& object, std::size_t depth, Value& value);

  bool open(std::uint64_t index, Object& object);
  bool enter(const Object& object, std::size_t depth, std::uint64_t count);
  bool takeCount(Object& object, std::uint64_t& count);
  bool takeBytes(Object& object, std::uint64_t count, std::size_t unit, std::string_view& bytes);
  std::uint64_t reference(std::string_view references, std::uint64_t position) const {
    return bigEndian(references.substr(position * m_referenceSize, m_referenceSize));
  }
  std::uint64_t offsetOf(std::uint64_t index) const {
    return bigEndian(m_bytes.substr(m_tableOffset + index * m_offsetSize, m_offsetSize));
  }

  bool fail(std::string problem) {
    m_problem = std::move(problem);
    return false;
  }
  bool fail(const Object& object, std::string_view problem) {
    return fail("object " + std::to_string(object.index) + " at byte " + std::to_string(object.offset) + ": " +
                std::string(problem));
  }

  std::string_view m_bytes;
  Budget m_budget;
  std::size_t m_offsetSize = 0;
  std::size_t m_referenceSize = 0;
  std::uint64_t m_objects = 0;
  std::uint64_t m_top = 0;
  std::uint64_t m_tableOffset = 0;
  std::vector<bool> m_entered;  ///< the containers that are being read, by index
  std::string m_problem;
};

Result<Value> BinaryReader::read() {
  Value value;
  if (!readTrailer() || !readValue(m_top, 0, value)) return invalid(std::move(m_problem));
  return value;
}

bool BinaryReader::readTrailer() {
  constexpr std::size_t TRAILER_SIZE = 32;
  if (m_bytes.size() < BINARY_MAGIC.size() + TRAILER_SIZE) return fail("too short for a binary property list");
  const std::uint64_t tableEnd = m_bytes.size() - TRAILER_SIZE;
  const std::string_view trailer = m_bytes.substr(tableEnd);
  m_offsetSize = bigEndian(trailer.substr(6, 1));
  m_referenceSize = bigEndian(trailer.substr(7, 1));
  m_objects = bigEndian(trailer.substr(8, 8));
  m_top = bigEndian(trailer.substr(16, 8));
  m_tableOffset = bigEndian(trailer.substr(24, 8));

  if (m_offsetSize < 1 || m_offsetSize > 8 || m_referenceSize < 1 || m_referenceSize > 8)
    return fail("the trailer has impossible sizes of offsets or references");
  if (m_tableOffset < BINARY_MAGIC.size() || m_tableOffset > tableEnd ||
      m_objects != (tableEnd - m_tableOffset) / m_offsetSize || (tableEnd - m_tableOffset) % m_offsetSize != 0)
    return fail("the trailer does not match the size of the offset table");
  if (m_top >= m_objects) return fail("the trailer names a top object that does not exist");
  for (std::uint64_t index = 0; index < m_objects; ++index)
    if (offsetOf(index) < BINARY_MAGIC.size() || offsetOf(index) >= m_tableOffset)
      return fail("the offset of object " + std::to_string(index) + " lies outside the objects");
  if (const char* problem = m_budget.takeValues(1)) return fail(problem);
  m_entered.resize(m_objects);
  return true;
}

bool BinaryReader::open(std::uint64_t index, Object& object) {
  if (index >= m_objects) return fail("a reference names object " + std::to_string(index) + ", which does not exist");
  const std::uint64_t offset = offsetOf(index);
  const unsigned marker = static_cast<unsigned char>(m_bytes[offset]);
  object = {index, offset, marker >> 4, marker & 15, m_bytes.substr(offset + 1, m_tableOffset - offset - 1)};
  return true;
}

bool BinaryReader::takeBytes(Object& object, std::uint64_t count, std::size_t unit, std::string_view& bytes) {
  if (count > object.rest.size() / unit) return fail(object, "runs past the end of the objects");
  bytes = object.rest.substr(0, count * unit);
  object.rest.remove_prefix(bytes.size());
  return true;
}

bool BinaryReader::takeCount(Object& object, std::uint64_t& count) {
  count = object.info;
  if (count < 15) return true;
  std::string_view bytes;
  if (!takeBytes(object, 1, 1, bytes)) return false;
  const std::uint64_t marker = bigEndian(bytes);
  if (marker < 0x10 || marker > 0x13) return fail(object, "has a count that is not an integer");
  if (!takeBytes(object, 1, std::size_t{1} << (marker & 3), bytes)) return false;
  count = bigEndian(bytes);
  return true;
}

bool BinaryReader::readValue(std::uint64_t index, std::size_t depth, Value& value) {
  Object object;
  return open(index, object) && readContent(object, depth, value);
}

bool BinaryReader::readContent(Object& object, std::size_t depth, Value& value) {
  switch (object.kind) {
    case 0x0:
      return readSimple(object, value);
    case 0x1:
      return readInteger(object, value);
    case 0x2:
      return readReal(object, value);
    case 0x3:
      return readDate(object, value);
    case 0x4:
      return readData(object, value);
    case 0x5:
    case 0x6: {
      std::string text;
      if (!readText(object, text)) return false;
      value = std::move(text);
      return true;
    }
    case 0x8:
      return readUid(object, value);
    case 0xA:
    case 0xC:
      return readArray(object, depth, value);
    case 0xD:
      return readDictionary(object, depth, value);
    default:
      return fail(object, "is of an unknown kind");
  }
}

bool BinaryReader::readSimple(const Object& object, Value& value) {
  if (object.info != 8 && object.info != 9) return fail(object, "is neither true nor false");
  value = object.info == 9;
  return true;
}

bool BinaryReader::readInteger(Object& object, Value& value) {
  if (object.info > 4) return fail(object, "is an integer of an unknown size");
  std::string_view bytes;
  if (!takeBytes(object, 1, std::size_t{1} << object.info, bytes)) return false;
  // Only integers of 8 and more bytes have a sign; in 16 bytes, the upper half of one that fits repeats it.
  const auto number =
      static_cast<std::int64_t>(bigEndian(bytes.substr(bytes.size() - std::min(bytes.size(), std::size_t{8}))));
  if (bytes.size() == 16 && bigEndian(bytes.substr(0, 8)) != (number < 0 ? ~std::uint64_t{0} : 0))
    return fail(object, "is an integer that does not fit 64 bits with sign");
  value = number;
  return true;
}

bool BinaryReader::readReal(Object& object, Value& value) {
  if (object.info != 2 && object.info != 3) return fail(object, "is a real of an unknown size");
  std::string_view bytes;
  if (!takeBytes(object, 1, std::size_t{1} << object.info, bytes)) return false;
  if (bytes.size() == 4)
    value = std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(bytes)));
  else
    value = std::bit_cast<double>(bigEndian(bytes));
  return true;
}

bool BinaryReader::readDate(Object& object, Value& value) {
  if (object.info != 3) return fail(object, "is a date of an unknown size");
  std::string_view bytes;
  if (!takeBytes(object, 1, 8, bytes)) return false;
  const auto seconds = std::bit_cast<double>(bigEndian(bytes));
  if (!std::isfinite(seconds)) return fail(object, "is a date that is not finite");
  value = Date{seconds};
  return true;
}

bool BinaryReader::readData(Object& object, Value& value) {
  std::uint64_t count = 0;
  std::string_view bytes;
  if (!takeCount(object, count) || !takeBytes(object, count, 1, bytes)) return false;
  if (const char* problem = m_budget.takeBytes(count)) return fail(object, problem);
  value = Data{{bytes.begin(), bytes.end()}};
  return true;
}

bool BinaryReader::readText(Object& object, std::string& text) {
  const std::size_t unit = object.kind == 6 ? 2 : 1;
  std::uint64_t count = 0;
  std::string_view bytes;
  if (!takeCount(object, count) || !takeBytes(object, count, unit, bytes)) return false;
  if (unit == 1) {
    if (!std::ranges::all_of(bytes, isAscii)) return fail(object, "is a string that is not ASCII");
    text = bytes;
  }
  for (std::size_t i = 0; unit == 2 && i < bytes.size(); i += 2) {
    auto point = static_cast<gunichar>(bigEndian(bytes.substr(i, 2)));
    if (point >= 0xD800 && point < 0xDC00 && i + 2 < bytes.size()) {
      const auto low = static_cast<gunichar>(bigEndian(bytes.substr(i + 2, 2)));
      if (low >= 0xDC00 && low < 0xE000) {
        point = 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
        i += 2;
      }
    }
    if (point >= 0xD800 && point < 0xE000) return fail(object, "is a string with half of a surrogate pair");
    appendCodePoint(text, point);
  }
  if (const char* problem = m_budget.takeBytes(text.size())) return fail(object, problem);
  return true;
}

bool BinaryReader::readUid(Object& object, Value& value) {
  std::string_view bytes;
  if (!takeBytes(object, 1, object.info + 1, bytes)) return false;
  if (bytes.size() > 8 || bigEndian(bytes) > std::numeric_limits<std::int64_t>::max())
    return fail(object, "is a UID beyond 63 bits");
  if (const char* problem = m_budget.takeValues(1)) return fail(object, problem);
  value = Value::Dictionary{{"CF$UID", static_cast<std::int64_t>(bigEndian(bytes))}};
  return true;
}

/// Accounts for a container with `count` values before any of them is read.
bool BinaryReader::enter(const Object& object, std::size_t depth, std::uint64_t count) {
  if (m_entered[object.index]) return fail(object, "contains itself");
  if (const char* problem = m_budget.enterDepth(depth)) return fail(object, problem);
  if (const char* problem = m_budget.takeValues(count)) return fail(object, problem);
  m_entered[object.index] = true;
  return true;
}

bool BinaryReader::readArray(Object& object, std::size_t depth, Value& value) {
  std::uint64_t count = 0;
  std::string_view references;
  if (!takeCount(object, count) || !takeBytes(object, count, m_referenceSize, references) ||
      !enter(object, depth + 1, count))
    return false;
  Value::Array array(count);
  for (std::uint64_t i = 0; i < count; ++i)
    if (!readValue(reference(references, i), depth + 1, array[i])) return false;
  m_entered[object.index] = false;
  value = std::move(array);
  return true;
}

bool BinaryReader::readDictionary(Object& object, std::size_t depth, Value& value) {
  std::uint64_t count = 0;
  std::string_view references;
  if (!takeCount(object, count) || !takeBytes(object, count, 2 * m_referenceSize, references) ||
      !enter(object, depth + 1, count))
    return false;
  Value::Dictionary dictionary;
  for (std::uint64_t i = 0; i < count; ++i) {
    Object key;
    if (!open(reference(references, i), key)) return false;
    if (key.kind != 5 && key.kind != 6) return fail(key, "is a key but not a string");
    std::string name;
    Value entry;
    if (!readText(key, name) || !readValue(reference(references, count + i), depth + 1, entry)) return false;
    dictionary.insert_or_assign(dictionary.end(), std::move(name), std::move(entry));
  }
  m_entered[object.index] = false;
  value = std::move(dictionary);
  return true;
}

// Writing

/// Whether a list of that format can hold the value. The description starts with the keys that lead to the culprit.
Result<void> checkWritable(const Value& value, PropertyListFormat format, std::size_t depth = 0) {
  const bool xml = format == PropertyListFormat::XML;
  if (const std::string* text = value.asString()) {
    if (const char* defect = defectOf(*text, format)) return invalid(std::string(": holds ") + defect);
  } else if (const Date* date = value.asDate()) {
    if (!std::isfinite(date->seconds)) return invalid(": is a date that is not finite");
    if (xml && (date->seconds < FIRST_XML_SECOND || date->seconds >= END_OF_XML_SECONDS))
      return invalid(": is a date outside the years 0000 to 9999");
  } else if (value.isArray() || value.isDictionary()) {
    if (depth == MAX_PROPERTY_LIST_DEPTH) return invalid(": is nested too deeply");
  }

  const auto checkPart = [&](const std::string& name, const Value& part) {
    return checkWritable(part, format, depth + 1).map_error([&name](Error error) {
      error.description.insert(0, "/" + name);
      return error;
    });
  };
  if (const Value::Array* array = value.asArray()) {
    for (std::size_t i = 0; i < array->size(); ++i)
      if (auto part = checkPart(std::to_string(i), (*array)[i]); !part) return part;
  } else if (const Value::Dictionary* dictionary = value.asDictionary()) {
    for (const auto& [key, entry] : *dictionary) {
      if (const char* defect = defectOf(key, format)) return invalid(std::string(": has a key with ") + defect);
      if (auto part = checkPart(key, entry); !part) return part;
    }
  }
  return {};
}

/// Writes what checkWritable() lets pass.
class XmlWriter {
 public:
  std::string write(const Value& value) {
    m_out =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\">\n";
    add(value, 0);
    m_out += "</plist>\n";
    return std::move(m_out);
  }

 private:
  void add(const Value& value, std::size_t depth);
  void addLine(std::size_t depth, std::string_view text) { m_out.append(depth, '\t').append(text) += '\n'; }
  void addElement(std::size_t depth, std::string_view element, std::string_view text);

  std::string m_out;
};

void XmlWriter::addElement(std::size_t depth, std::string_view element, std::string_view text) {
  m_out.append(depth, '\t').append("<").append(element) += '>';
  for (const char c : text) {
    switch (c) {
      case '&':
        m_out += "&amp;";
        break;
      case '<':
        m_out += "&lt;";
        break;
      case '>':
        m_out += "&gt;";
        break;
      case '\r':  // a plain one would be read as a line feed
        m_out += "&#13;";
        break;
      default:
        m_out += c;
    }
  }
  m_out.append("</").append(element) += ">\n";
}

void XmlWriter::add(const Value& value, std::size_t depth) {
  if (const Value::Dictionary* dictionary = value.asDictionary()) {
    if (dictionary->empty()) return addLine(depth, "<dict/>");
    addLine(depth, "<dict>");
    for (const auto& [key, entry] : *dictionary) {
      addElement(depth + 1, "key", key);
      add(entry, depth + 1);
    }
    addLine(depth, "</dict>");
  } else if (const Value::Array* array = value.asArray()) {
    if (array->empty()) return addLine(depth, "<array/>");
    addLine(depth, "<array>");
    for (const Value& entry : *array) add(entry, depth + 1);
    addLine(depth, "</array>");
  } else if (const std::string* text = value.asString()) {
    addElement(depth, "string", *text);
  } else if (const std::int64_t* integer = value.asInteger()) {
    addElement(depth, "integer", std::to_string(*integer));
  } else if (const double* real = value.asReal()) {
    std::array<char, 32> digits;  // the longest double takes 24
    const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), *real).ptr;
    if (std::isnan(*real))
      addElement(depth, "real", "nan");
    else if (std::isinf(*real))
      addElement(depth, "real", *real < 0 ? "-infinity" : "+infinity");
    else
      addElement(depth, "real", {digits.data(), end});
  } else if (const bool* truth = value.asBool()) {
    addLine(depth, *truth ? "<true/>" : "<false/>");
  } else if (const Date* date = value.asDate()) {
    addElement(depth, "date", formatDate(*date));
  } else if (const Data* data = value.asData()) {
    constexpr std::size_t LINE_LENGTH = 76;
    const std::string encoded = base64(data->bytes.data(), data->bytes.size());
    addLine(depth, "<data>");
    for (std::size_t i = 0; i < encoded.size(); i += LINE_LENGTH)
      addLine(depth, std::string_view(encoded).substr(i, LINE_LENGTH));
    addLine(depth, "</data>");
  }
}

void appendBigEndian(std::string& out, std::uint64_t number, std::size_t size) {
  while (size-- > 0) out += static_cast<char>(number >> 8 * size & 0xFF);
}

/// The binary logarithm of how many bytes the number takes: 1, 2, 4 or 8.
unsigned sizeLogarithm(std::uint64_t number) {
  return number <= 0xFF ? 0 : number <= 0xFFFF ? 1 : number <= 0xFFFFFFFF ? 2 : 3;
}

std::string encodedInteger(std::uint64_t number) {
  const unsigned logarithm = sizeLogarithm(number);
  std::string bytes(1, static_cast<char>(0x10 | logarithm));
  appendBigEndian(bytes, number, std::size_t{1} << logarithm);
  return bytes;
}

/// The marker of an object with a count. `kind` is its high half in place.
std::string encodedMarker(unsigned kind, std::size_t count) {
  if (count < 15) return {static_cast<char>(kind | count)};
  return static_cast<char>(kind | 15) + encodedInteger(count);
}

std::string encodedText(std::string_view text) {
  if (std::ranges::all_of(text, isAscii)) return encodedMarker(0x50, text.size()).append(text);
  std::string units;
  while (!text.empty()) {
    const gunichar point = *takeCodePoint(text);
    if (point >= 0x10000) {
      appendBigEndian(units, 0xD800 + ((point - 0x10000) >> 10), 2);
      appendBigEndian(units, 0xDC00 + (point & 0x3FF), 2);
    } else {
      appendBigEndian(units, point, 2);
    }
  }
  return encodedMarker(0x60, units.size() / 2).append(units);
}

/// Writes what checkWritable() lets pass. Plain values that are encoded alike become one object.
class BinaryWriter {
 public:
  std::string write(const Value& value);

 private:
  struct Object {
    std::string bytes;                    ///< all of a plain value, the marker of a container
    std::vector<std::size_t> references;  ///< to what a container holds
  };

  std::size_t add(const Value& value);
  std::size_t addPlain(std::string bytes);

  std::deque<Object> m_objects;  ///< a deque, as its elements stay where m_plain sees them
  std::unordered_map<std::string_view, std::size_t> m_plain;
};

std::size_t BinaryWriter::addPlain(std::string bytes) {
  if (const auto known = m_plain.find(bytes); known != m_plain.end()) return known->second;
  const std::size_t index = m_objects.size();
  m_objects.push_back({std::move(bytes), {}});
  m_plain.emplace(m_objects.back().bytes, index);
  return index;
}

std::size_t BinaryWriter::add(const Value& value) {
  if (const std::string* text = value.asString()) return addPlain(encodedText(*text));
  if (const std::int64_t* integer = value.asInteger())
    return addPlain(encodedInteger(static_cast<std::uint64_t>(*integer)));
  if (const bool* truth = value.asBool()) return addPlain(*truth ? "\x09" : "\x08");
  if (const Data* data = value.asData())
    return addPlain(encodedMarker(0x40, data->bytes.size()).append(data->bytes.begin(), data->bytes.end()));
  if (value.isReal() || value.isDate()) {
    std::string bytes = value.isReal() ? "\x23" : "\x33";
    appendBigEndian(bytes, std::bit_cast<std::uint64_t>(value.isReal() ? *value.asReal() : value.asDate()->seconds), 8);
    return addPlain(std::move(bytes));
  }

  const std::size_t index = m_objects.size();
  Object& object = m_objects.emplace_back();
  if (const Value::Array* array = value.asArray()) {
    object.bytes = encodedMarker(0xA0, array->size());
    for (const Value& entry : *array) object.references.push_back(add(entry));
  } else if (const Value::Dictionary* dictionary = value.asDictionary()) {
    object.bytes = encodedMarker(0xD0, dictionary->size());
    for (const auto& [key, entry] : *dictionary) object.references.push_back(addPlain(encodedText(key)));
    for (const auto& [key, entry] : *dictionary) object.references.push_back(add(entry));
  }
  return index;
}

std::string BinaryWriter::write(const Value& value) {
  const std::size_t top = add(value);
  const std::size_t referenceSize = std::size_t{1} << sizeLogarithm(m_objects.size());
  std::string out(BINARY_MAGIC);
  std::vector<std::size_t> offsets;
  for (const Object& object : m_objects) {
    offsets.push_back(out.size());
    out += object.bytes;
    for (const std::size_t reference : object.references) appendBigEndian(out, reference, referenceSize);
  }
  const std::size_t tableOffset = out.size();
  const std::size_t offsetSize = std::size_t{1} << sizeLogarithm(tableOffset);
  for (const std::size_t offset : offsets) appendBigEndian(out, offset, offsetSize);

  appendBigEndian(out, 0, 6);
  appendBigEndian(out, offsetSize, 1);
  appendBigEndian(out, referenceSize, 1);
  appendBigEndian(out, m_objects.size(), 8);
  appendBigEndian(out, top, 8);
  appendBigEndian(out, tableOffset, 8);
  return out;
}

}  // namespace

Result<Value> readPropertyList(std::string_view bytes, const PropertyListLimits& limits) {
  if (bytes.size() > limits.maxBytes)
    return invalid("larger than the " + std::to_string(limits.maxBytes) + " bytes allowed");
  if (bytes.starts_with(BINARY_MAGIC)) return BinaryReader(bytes, limits).read();
  if (bytes.starts_with("bplist")) return invalid("a binary property list of an unknown version");
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  for (const auto start : {"\xFE\xFF"sv, "\xFF\xFE"sv, "\0<"sv, "<\0"sv})
    if (bytes.starts_with(start)) return invalid("XML in UTF-16; property lists have to be in UTF-8");
  if (!trimmed(bytes).starts_with('<')) return invalid("neither a binary nor an XML property list");
  return XmlReader(limits).read(bytes);
}

Result<Value> readPropertyListFile(const std::string& path, const PropertyListLimits& limits) {
  const auto file = openForReading(path);
  if (!file) return tl::unexpected(file.error());
  struct stat status = {};
  if (::fstat(file->get(), &status) < 0) return fileFailure(path, errno);
  if (S_ISDIR(status.st_mode)) return fileFailure(path, EISDIR);
  if (!S_ISREG(status.st_mode)) return invalid(path + ": not a regular file");

  std::string bytes;
  bytes.reserve(std::min(static_cast<std::size_t>(status.st_size), limits.maxBytes));
  std::vector<char> chunk(64 << 10);
  while (bytes.size() <= limits.maxBytes) {  // one byte too many is enough to be refused
    const ssize_t size = uninterrupted([&] { return ::read(file->get(), chunk.data(), chunk.size()); });
    if (size < 0) return fileFailure(path, errno);
    if (size == 0) break;
    bytes.append(chunk.data(), static_cast<std::size_t>(size));
  }
  return readPropertyList(bytes, limits).map_error([&path](Error error) {
    error.description.insert(0, path + ": ");
    return error;
  });
}

Result<std::string> writePropertyList(const Value& value, PropertyListFormat format) {
  if (auto writable = checkWritable(value, format); !writable) {
    writable.error().description.insert(0, "the property list");
    return tl::unexpected(writable.error());
  }
  return format == PropertyListFormat::XML ? XmlWriter().write(value) : BinaryWriter().write(value);
}

Result<void> writePropertyListFile(const Value& value, const std::string& path, PropertyListFormat format) {
  const auto bytes = writePropertyList(value, format);
  if (!bytes) return invalid(path + ": " + bytes.error().description);
  return replaceFile(path, *bytes);
}

}  // namespace corvane
