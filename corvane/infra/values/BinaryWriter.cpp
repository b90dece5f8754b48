#include <algorithm>
#include <bit>
#include <deque>
#include <unordered_map>
#include <utility>
#include <vector>

#include "corvane/infra/values/PropertyListFormats.h"

namespace corvane::propertylist {

namespace {

void appendBigEndian(std::string& out, std::uint64_t number, std::size_t size) {
  while (size-- > 0) out += static_cast<char>(number >> 8 * size & 0xFF);
}

/// The binary logarithm of the number of bytes that the number takes: 1, 2, 4 or 8.
unsigned sizeLogarithm(std::uint64_t number) {
  return number <= 0xFF ? 0 : number <= 0xFFFF ? 1 : number <= 0xFFFFFFFF ? 2 : 3;
}

std::string encodedInteger(std::uint64_t number) {
  const unsigned logarithm = sizeLogarithm(number);
  std::string bytes(1, static_cast<char>(0x10 | logarithm));
  appendBigEndian(bytes, number, std::size_t{1} << logarithm);
  return bytes;
}

/// The marker of an object with a count. `kind` is its high half, already shifted.
std::string encodedMarker(unsigned kind, std::size_t count) {
  if (count < 15) return {static_cast<char>(kind | count)};
  return static_cast<char>(kind | 15) + encodedInteger(count);
}

/// Takes one code point off the front of valid UTF-8.
char32_t takeCodePoint(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  char32_t point = size == 1 ? lead : lead & (0x7FU >> size);
  for (const char c : text.substr(1, size - 1)) point = point << 6 | (static_cast<unsigned char>(c) & 0x3FU);
  text.remove_prefix(size);
  return point;
}

std::string encodedText(std::string_view text) {
  if (isAscii(text)) return encodedMarker(0x50, text.size()).append(text);
  std::string units;
  while (!text.empty()) {
    const char32_t point = takeCodePoint(text);
    if (point >= 0x10000) {
      appendBigEndian(units, 0xD800 + ((point - 0x10000) >> 10), 2);
      appendBigEndian(units, 0xDC00 + (point & 0x3FF), 2);
    } else {
      appendBigEndian(units, point, 2);
    }
  }
  return encodedMarker(0x60, units.size() / 2).append(units);
}

/// Plain values with the same encoding share one object.
class BinaryWriter {
 public:
  std::string write(const Value& value);

 private:
  struct Object {
    std::string bytes;                    ///< the whole encoding of a plain value, or the marker of a container
    std::vector<std::size_t> references;  ///< to the contents of a container
  };

  std::size_t add(const Value& value);
  std::size_t addPlain(std::string bytes);

  std::deque<Object> m_objects;  ///< a deque, because m_plain refers to its elements
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
  std::string out("bplist00");
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

std::string writeBinary(const Value& value) {
  return BinaryWriter().write(value);
}

}  // namespace corvane::propertylist
