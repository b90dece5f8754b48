#include "corvane/infra/values/PropertyListFormats.h"
#include "corvane/infra/values/XmlText.h"

namespace corvane::propertylist {

namespace {

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
      case '\r':  // unescaped, it would be read as a line feed
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
    addElement(depth, "real", realText(*real));
  } else if (const bool* truth = value.asBool()) {
    addLine(depth, *truth ? "<true/>" : "<false/>");
  } else if (const Date* date = value.asDate()) {
    addElement(depth, "date", dateText(*date));
  } else if (const Data* data = value.asData()) {
    constexpr std::size_t LINE_LENGTH = 76;
    const std::string encoded = base64(data->bytes);
    addLine(depth, "<data>");
    for (std::size_t i = 0; i < encoded.size(); i += LINE_LENGTH)
      addLine(depth, std::string_view(encoded).substr(i, LINE_LENGTH));
    addLine(depth, "</data>");
  }
}

}  // namespace

std::string writeXml(const Value& value) {
  return XmlWriter().write(value);
}

}  // namespace corvane::propertylist
