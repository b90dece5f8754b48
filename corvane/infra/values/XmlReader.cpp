#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "corvane/core/Text.h"
#include "corvane/infra/values/PropertyListFormats.h"
#include "corvane/infra/values/XmlText.h"

namespace corvane::propertylist {

namespace {

using namespace std::string_view_literals;

enum class Element : std::uint8_t { KEY, STRING, INTEGER, TRUE, FALSE, DICT, ARRAY, REAL, DATE, DATA, PLIST, UNKNOWN };
constexpr std::array ELEMENT_NAMES = {"key"sv,   "string"sv, "integer"sv, "true"sv, "false"sv, "dict"sv,
                                      "array"sv, "real"sv,   "date"sv,    "data"sv, "plist"sv};

std::string tag(Element element) {
  return "<" + std::string(ELEMENT_NAMES[static_cast<std::size_t>(element)]) + ">";
}

bool isContainer(Element element) {
  return element == Element::PLIST || element == Element::DICT || element == Element::ARRAY;
}

bool endsName(char c) {
  return isSpace(c) || c == '>' || c == '/' || c == '=' || c == '<';
}

/// The treatment that a byte of an element's text needs.
enum class Care : std::uint8_t { NOTHING, UTF8, MARKUP, REFERENCE, LINE_BREAK, REFUSAL };

constexpr std::array<Care, 256> CARES = [] {
  std::array<Care, 256> cares{};
  std::fill_n(cares.begin(), 0x20, Care::REFUSAL);
  std::fill(cares.begin() + 0x80, cares.end(), Care::UTF8);
  cares['\t'] = cares['\n'] = Care::NOTHING;
  cares['\r'] = Care::LINE_BREAK;
  cares['<'] = Care::MARKUP;
  cares['&'] = Care::REFERENCE;
  return cares;
}();

bool isCharacter(std::uint32_t point) {
  if (point < 0x20) return point == '\t' || point == '\n' || point == '\r';
  return point < 0xD800 || (point > 0xDFFF && point < 0xFFFE) || (point > 0xFFFF && point <= 0x10FFFF);
}

/// Reads the XML of property lists: elements, texts, character references, comments, processing instructions and a
/// document type without declarations. Because nothing can be declared, the result cannot be larger than the input.
/// Open elements are kept in a list, so depth takes no stack.
class XmlReader {
 public:
  XmlReader(std::string_view bytes, const PropertyListLimits& limits)
      : m_bytes(bytes), m_rest(bytes), m_place(bytes.data()), m_budget(limits) {}

  Result<Value> read();

 private:
  struct Entry {
    std::string key;  ///< empty in arrays
    Value value;
  };
  /// An open element that contains others. A plist is treated as an array of at most one value.
  struct Container {
    Element element;
    bool keyed;         ///< whether the last entry of this dict is a key without its value yet
    std::size_t first;  ///< where its entries begin
  };

  bool readAll();
  bool readMarkup();
  bool passDoctype();
  bool passTo(std::string_view end, const char* what);
  bool readStartTag();
  bool readEndTag(std::string_view name);
  bool readTagEnd(bool& empty);
  bool passAttribute();
  bool checkPlace(Element element, std::string_view name);
  bool readPlain(Element element, bool empty);
  bool addPlain(Element element, std::string_view text);
  bool readText(Element element, std::string_view& text);
  bool readTextMarkup(Element element);
  bool readReference();
  bool readNumberReference(std::string_view digits);
  bool endContainer();
  bool add(Value value);

  bool take(std::string_view text) {
    if (!m_rest.starts_with(text)) return false;
    m_rest.remove_prefix(text.size());
    return true;
  }
  void passSpace() {
    while (!m_rest.empty() && isSpace(m_rest.front())) m_rest.remove_prefix(1);
  }
  std::string_view takeName() {
    const auto end = std::ranges::find_if(m_rest, endsName);
    const std::string_view name = m_rest.substr(0, static_cast<std::size_t>(end - m_rest.begin()));
    m_rest.remove_prefix(name.size());
    return name;
  }

  bool fail(std::string problem) {
    m_problem = std::move(problem);
    return false;
  }
  /// True if there is no problem.
  bool check(const char* problem) { return !problem || fail(problem); }

  std::string_view m_bytes;
  std::string_view m_rest;  ///< the unread rest
  const char* m_place;      ///< the start of the current tag or text, where problems are reported
  Budget m_budget;
  std::vector<Container> m_open;
  std::vector<Entry> m_entries;  ///< those of the open containers, one container after the other
  std::string m_text;            ///< that of the open text element, if it differs from the bytes in the list
  std::optional<Value> m_result;
  std::string m_problem;
};

Result<Value> XmlReader::read() {
  if (readAll()) return std::move(*m_result);
  return invalid("line " + std::to_string(1 + std::count(m_bytes.data(), m_place, '\n')) + ": " + m_problem);
}

bool XmlReader::readAll() {
  for (;;) {
    passSpace();
    m_place = m_rest.data();
    if (m_rest.empty()) break;
    if (m_rest.front() != '<') return fail("text outside of a value");
    if (!readMarkup()) return false;
  }
  if (!m_open.empty()) return fail(tag(m_open.back().element) + " is not closed");
  return m_result || fail("the XML holds no <plist>");
}

bool XmlReader::readMarkup() {
  if (take("<!--")) return passTo("-->", "a comment");
  if (take("<?")) return passTo("?>", "a processing instruction");
  if (m_rest.starts_with("<!DOCTYPE")) return passDoctype();
  if (m_rest.starts_with("<![CDATA[")) return fail("text outside of a value");
  if (!take("</")) return readStartTag();
  if (m_open.empty() || !readEndTag(ELEMENT_NAMES[static_cast<std::size_t>(m_open.back().element)]))
    return fail("a closing tag that closes nothing");
  return endContainer();
}

bool XmlReader::passTo(std::string_view end, const char* what) {
  const std::size_t size = m_rest.find(end);
  if (size == m_rest.npos) return fail(std::string(what) + " is not closed");
  if (const char* defect = defectOf(m_rest.substr(0, size), PropertyListFormat::XML))
    return fail(std::string(what) + " holds " + defect);
  m_rest.remove_prefix(size + end.size());
  return true;
}

/// Identifiers in a document type may contain any character within their quotes.
bool XmlReader::passDoctype() {
  if (!m_open.empty() || m_result) return fail("a document type behind the start of the list");
  for (std::size_t end = m_rest.find_first_of("\"'[>"); end != m_rest.npos; end = m_rest.find_first_of("\"'[>")) {
    const char found = m_rest[end];
    if (found == '[') return fail("the document type declares something");
    m_rest.remove_prefix(end + 1);
    if (found == '>') return true;
    if (!passTo({&found, 1}, "an identifier of the document type")) return false;
  }
  return fail("the document type is not closed");
}

bool XmlReader::readStartTag() {
  m_rest.remove_prefix(1);
  const std::string_view name = takeName();
  const auto known = std::ranges::find(ELEMENT_NAMES, name);
  const auto element = static_cast<Element>(known - ELEMENT_NAMES.begin());
  bool empty = false;
  if (!checkPlace(element, name) || !readTagEnd(empty)) return false;
  const bool value = element != Element::PLIST && element != Element::KEY;
  if (!check(m_budget.takeValues(value ? 1 : 0))) return false;
  if (!isContainer(element)) return readPlain(element, empty);
  // The plist is among the open ones, so their number is the depth of the one that opens now.
  if (!check(m_budget.enterDepth(m_open.size()))) return false;
  m_open.push_back({element, false, m_entries.size()});
  return !empty || endContainer();
}

/// Reads the rest of a closing tag; false if it is that of another element.
bool XmlReader::readEndTag(std::string_view name) {
  if (takeName() != name) return false;
  passSpace();
  return take(">");
}

/// The attributes and the end of an opening tag. `empty`: it closes its element as well.
bool XmlReader::readTagEnd(bool& empty) {
  while (!take(">")) {
    const std::size_t before = m_rest.size();
    passSpace();
    if (take("/>")) {
      empty = true;
      return true;
    }
    if (m_rest.starts_with('>')) continue;
    if (m_rest.size() == before || !passAttribute()) return fail("a tag is damaged");
  }
  return true;
}

bool XmlReader::passAttribute() {
  const std::string_view name = takeName();
  passSpace();
  if (name.empty() || defectOf(name, PropertyListFormat::XML) || !take("=")) return false;
  passSpace();
  if (m_rest.empty() || (m_rest.front() != '"' && m_rest.front() != '\'')) return false;
  const std::size_t end = m_rest.find(m_rest.front(), 1);
  if (end == m_rest.npos) return false;
  const std::string_view value = m_rest.substr(1, end - 1);
  m_rest.remove_prefix(end + 1);
  return value.find('<') == value.npos && !defectOf(value, PropertyListFormat::XML);
}

bool XmlReader::checkPlace(Element element, std::string_view name) {
  if (m_open.empty())
    return (element == Element::PLIST && !m_result) || fail("an element where only one <plist> is allowed");
  const Container& parent = m_open.back();
  if (element == Element::UNKNOWN || element == Element::PLIST)
    return fail("an element that is not known here" +
                (defectOf(name, PropertyListFormat::XML) ? "" : ": <" + std::string(name.substr(0, 32)) + ">"));
  if (element == Element::KEY) {
    if (parent.element != Element::DICT || parent.keyed) return fail("<key> where a value must be");
  } else if (parent.element == Element::DICT && !parent.keyed) {
    return fail(tag(element) + " where a <key> must be");
  } else if (parent.element == Element::PLIST && m_entries.size() > parent.first) {
    return fail(tag(element) + " is a second value in <plist>");
  }
  return true;
}

bool XmlReader::readPlain(Element element, bool empty) {
  std::string_view text;
  if (!empty && !readText(element, text)) return false;
  if (!addPlain(element, text)) return false;
  m_text.clear();
  return true;
}

bool XmlReader::addPlain(Element element, std::string_view text) {
  Value value;
  switch (element) {
    case Element::KEY:
      if (!check(m_budget.takeBytes(text.size()))) return false;
      m_entries.push_back({std::string(text), {}});
      m_open.back().keyed = true;
      return true;
    case Element::STRING:
      return check(m_budget.takeBytes(text.size())) && add(text);
    case Element::INTEGER:
      return check(readInteger(text, value)) && add(std::move(value));
    case Element::REAL:
      return check(readReal(text, value)) && add(std::move(value));
    case Element::DATE:
      return check(readDate(text, value)) && add(std::move(value));
    case Element::DATA:
      return check(readData(text, value)) && check(m_budget.takeBytes(value.asData()->bytes.size())) &&
             add(std::move(value));
    default:
      return std::ranges::all_of(text, isSpace) ? add(element == Element::TRUE) : fail(tag(element) + " holds text");
  }
}

/// Reads to the end of the closing tag. For most texts, `text` refers to the bytes in the list; for the others, to
/// m_text.
bool XmlReader::readText(Element element, std::string_view& text) {
  const char* start = m_rest.data();
  bool wide = false;
  for (;;) {
    std::size_t size = 0;
    Care care = Care::NOTHING;
    for (; size < m_rest.size() && care <= Care::UTF8; ++size) {
      care = CARES[static_cast<unsigned char>(m_rest[size])];
      wide |= care == Care::UTF8;
    }
    if (care <= Care::UTF8) return fail(tag(element) + " is not closed");
    const std::string_view plain = m_rest.substr(0, --size);
    m_rest.remove_prefix(size);
    if (take("</")) {
      const bool unchanged = plain.data() == start;
      if (!unchanged) m_text += plain;
      text = unchanged ? plain : m_text;
      break;
    }
    m_text += plain;
    if (care == Care::REFUSAL) return fail(tag(element) + " holds a character that XML does not allow");
    if (care == Care::MARKUP ? !readTextMarkup(element) : care == Care::REFERENCE && !readReference()) return false;
    if (care == Care::LINE_BREAK) {  // XML treats every line break as a line feed
      if (!m_rest.starts_with("\r\n")) m_text += '\n';
      m_rest.remove_prefix(1);
    }
  }
  if (const char* defect = wide ? defectOf(text, PropertyListFormat::XML) : nullptr)
    return fail(tag(element) + " holds " + defect);
  return readEndTag(ELEMENT_NAMES[static_cast<std::size_t>(element)]) || fail(tag(element) + " is not closed");
}

/// Markup that is allowed inside a text.
bool XmlReader::readTextMarkup(Element element) {
  if (take("<!--")) return passTo("-->", "a comment");
  if (take("<?")) return passTo("?>", "a processing instruction");
  if (!take("<![CDATA[")) {
    m_rest.remove_prefix(1);
    std::string found = "<";
    found += repaired(std::string(takeName().substr(0, 32)));
    return fail(found + "> inside " + tag(element));
  }
  const char* start = m_rest.data();
  if (!passTo("]]>", "a CDATA section")) return false;
  for (const char* c = start; c != m_rest.data() - 3; ++c)
    if (*c != '\r' || c[1] != '\n') m_text += *c == '\r' ? '\n' : *c;
  return true;
}

bool XmlReader::readReference() {
  constexpr std::pair<std::string_view, char> NAMED[] = {
      {"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}};
  for (const auto& [name, character] : NAMED) {
    if (!take(name)) continue;
    m_text += character;
    return true;
  }
  const std::size_t end = m_rest.substr(0, 16).find(';');
  if (end == m_rest.npos || !take("&#")) return fail("an entity that is not known");
  const std::string_view digits = m_rest.substr(0, end - 2);
  m_rest.remove_prefix(end - 1);
  return readNumberReference(digits);
}

bool XmlReader::readNumberReference(std::string_view digits) {
  const bool hexadecimal = digits.starts_with('x');
  if (hexadecimal) digits.remove_prefix(1);
  std::uint32_t point = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, problem] = std::from_chars(digits.data(), end, point, hexadecimal ? 16 : 10);
  if (problem != std::errc() || stop != end || !isCharacter(point))
    return fail("a reference to a character that XML does not allow");
  appendCodePoint(m_text, point);
  return true;
}

bool XmlReader::endContainer() {
  const Container done = m_open.back();
  m_open.pop_back();
  if (done.keyed) return fail("the last <key> in <dict> has no value");
  const auto first = m_entries.begin() + static_cast<std::ptrdiff_t>(done.first);
  if (done.element == Element::PLIST) {
    if (first == m_entries.end()) return fail("<plist> holds no value");
    m_result = std::move(first->value);
    return true;
  }
  Value container;
  if (done.element == Element::DICT) {
    Value::Dictionary dictionary;
    for (auto entry = first; entry != m_entries.end(); ++entry)
      dictionary.insert_or_assign(dictionary.end(), std::move(entry->key), std::move(entry->value));
    container = std::move(dictionary);
  } else {
    Value::Array array;
    array.reserve(m_entries.size() - done.first);
    for (auto entry = first; entry != m_entries.end(); ++entry) array.push_back(std::move(entry->value));
    container = std::move(array);
  }
  m_entries.erase(first, m_entries.end());
  return add(std::move(container));
}

bool XmlReader::add(Value value) {
  Container& parent = m_open.back();
  if (parent.keyed)
    m_entries.back().value = std::move(value);
  else
    m_entries.push_back({{}, std::move(value)});
  parent.keyed = false;
  return true;
}

}  // namespace

Result<Value> readXml(std::string_view bytes, const PropertyListLimits& limits) {
  return XmlReader(bytes, limits).read();
}

}  // namespace corvane::propertylist
