#include "corvane/infra/values/PropertyList.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>
#include <vector>

#include "corvane/core/Files.h"
#include "corvane/core/Text.h"
#include "corvane/infra/values/PropertyListFormats.h"
#include "corvane/infra/values/XmlText.h"

namespace corvane {

namespace propertylist {

const char* defectOf(std::string_view text, PropertyListFormat format) {
  if (!isUtf8(text)) return "text that is not valid UTF-8";
  if (format == PropertyListFormat::BINARY) return nullptr;
  const auto forbidden = [](char c) {
    return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
  };
  const bool defect =
      std::ranges::any_of(text, forbidden) || text.find("\uFFFE") != text.npos || text.find("\uFFFF") != text.npos;
  return defect ? "a character that XML does not allow" : nullptr;
}

void appendCodePoint(std::string& text, char32_t point) {
  const auto append = [&text](char32_t byte) { text += static_cast<char>(byte); };
  if (point < 0x80) return append(point);
  if (point < 0x800) {
    append(0xC0 | point >> 6);
  } else {
    append(point < 0x10000 ? 0xE0 | point >> 12 : 0xF0 | point >> 18);
    if (point >= 0x10000) append(0x80 | (point >> 12 & 0x3F));
    append(0x80 | (point >> 6 & 0x3F));
  }
  append(0x80 | (point & 0x3F));
}

}  // namespace propertylist

namespace {

using namespace std::string_view_literals;
using propertylist::defectOf;
using propertylist::invalid;

/// Whether a list of that format can hold the value. The description starts with the keys that lead to the culprit.
Result<void> checkWritable(const Value& value, PropertyListFormat format, std::size_t depth = 0) {
  const bool xml = format == PropertyListFormat::XML;
  if (const std::string* text = value.asString()) {
    if (const char* defect = defectOf(*text, format)) return invalid(std::string(": holds ") + defect);
  } else if (const Date* date = value.asDate()) {
    if (!std::isfinite(date->seconds)) return invalid(": is a date that is not finite");
    if (const char* defect = xml ? propertylist::defectOf(*date) : nullptr)
      return invalid(std::string(": is ") + defect);
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

}  // namespace

Result<Value> readPropertyList(std::string_view bytes, const PropertyListLimits& limits) {
  if (bytes.size() > limits.maxBytes)
    return invalid("larger than the " + std::to_string(limits.maxBytes) + " bytes allowed");
  if (bytes.starts_with("bplist00")) return propertylist::readBinary(bytes, limits);
  if (bytes.starts_with("bplist")) return invalid("a binary property list of an unknown version");
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  for (const auto start : {"\xFE\xFF"sv, "\xFF\xFE"sv, "\0<"sv, "<\0"sv})
    if (bytes.starts_with(start)) return invalid("XML in UTF-16; property lists must be in UTF-8");
  if (const std::size_t start = bytes.find_first_not_of(" \t\r\n"); start == bytes.npos || bytes[start] != '<')
    return invalid("neither a binary nor an XML property list");
  return propertylist::readXml(bytes, limits);
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
  while (bytes.size() <= limits.maxBytes) {  // one byte too many suffices to refuse it
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
  return format == PropertyListFormat::XML ? propertylist::writeXml(value) : propertylist::writeBinary(value);
}

Result<void> writePropertyListFile(const Value& value, const std::string& path, PropertyListFormat format) {
  const auto bytes = writePropertyList(value, format);
  if (!bytes) return invalid(path + ": " + bytes.error().description);
  return replaceFile(path, *bytes);
}

}  // namespace corvane
