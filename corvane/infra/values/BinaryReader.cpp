#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "corvane/infra/values/PropertyListFormats.h"

namespace corvane::propertylist {

namespace {

constexpr std::size_t MAGIC_SIZE = 8;

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

/// Builds a Value from the objects of a binary list; each object as often as it is referred to.
///
/// The list consists of the magic bytes, the objects, a table of their offsets, and a trailer: 5 unused bytes, the sort
/// version, the sizes of an offset and of a reference, and 8 bytes each for the number of objects, the top object and
/// the table's offset. An object starts with a marker: the high half is the kind, the low half is the count of what
/// follows (15: an integer object with the count follows) or the binary logarithm of a number's size.
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
    std::string_view rest;  ///< from the first unread byte to the end of all objects
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
  std::vector<bool> m_entered;  ///< whether a container is being read, by index
  std::string m_problem;
};

Result<Value> BinaryReader::read() {
  Value value;
  if (!readTrailer() || !readValue(m_top, 0, value)) return invalid(std::move(m_problem));
  return value;
}

bool BinaryReader::readTrailer() {
  constexpr std::size_t TRAILER_SIZE = 32;
  if (m_bytes.size() < MAGIC_SIZE + TRAILER_SIZE) return fail("too short for a binary property list");
  const std::uint64_t tableEnd = m_bytes.size() - TRAILER_SIZE;
  const std::string_view trailer = m_bytes.substr(tableEnd);
  m_offsetSize = bigEndian(trailer.substr(6, 1));
  m_referenceSize = bigEndian(trailer.substr(7, 1));
  m_objects = bigEndian(trailer.substr(8, 8));
  m_top = bigEndian(trailer.substr(16, 8));
  m_tableOffset = bigEndian(trailer.substr(24, 8));

  if (m_offsetSize < 1 || m_offsetSize > 8 || m_referenceSize < 1 || m_referenceSize > 8)
    return fail("the trailer has impossible sizes of offsets or references");
  if (m_tableOffset < MAGIC_SIZE || m_tableOffset > tableEnd ||
      m_objects != (tableEnd - m_tableOffset) / m_offsetSize || (tableEnd - m_tableOffset) % m_offsetSize != 0)
    return fail("the trailer does not match the size of the offset table");
  if (m_top >= m_objects) return fail("the trailer names a top object that does not exist");
  for (std::uint64_t index = 0; index < m_objects; ++index)
    if (offsetOf(index) < MAGIC_SIZE || offsetOf(index) >= m_tableOffset)
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
  // Only integers of 8 or more bytes have a sign; in 16 bytes, the upper half of one that fits repeats it.
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
    if (!isAscii(bytes)) return fail(object, "is a string that is not ASCII");
    text = bytes;
  }
  for (std::size_t i = 0; unit == 2 && i < bytes.size(); i += 2) {
    auto point = static_cast<char32_t>(bigEndian(bytes.substr(i, 2)));
    if (point >= 0xD800 && point < 0xDC00 && i + 2 < bytes.size()) {
      const auto low = static_cast<char32_t>(bigEndian(bytes.substr(i + 2, 2)));
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

}  // namespace

Result<Value> readBinary(std::string_view bytes, const PropertyListLimits& limits) {
  return BinaryReader(bytes, limits).read();
}

}  // namespace corvane::propertylist
