#include "apps/inspector/text/DeviceText.h"

#include <algorithm>
#include <array>
#include <utility>

#include "apps/inspector/text/Format.h"
#include "corvane/system/Edid.h"
#include "corvane/system/PartitionType.h"

namespace corvane::inspector {

namespace {

using Cells = std::array<std::string, 4>;

constexpr std::size_t SHOWN_BYTES = 16;  // of data, in a table

std::string hexadecimal(const std::vector<std::uint8_t>& data, std::size_t count) {
  static constexpr std::string_view DIGITS = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < std::min(count, data.size()); ++i)
    (text += DIGITS[data[i] >> 4]) += DIGITS[data[i] & 15U];
  return text;
}

std::string jsonValue(const Value& value);

std::string jsonDictionary(const Value::Dictionary& dictionary) {
  std::string text;
  for (const auto& [key, value] : dictionary)
    text.append(text.empty() ? "" : ",").append(jsonString(key)).append(":").append(jsonValue(value));
  return "{" + text + "}";
}

// Of the kinds of values that devices have.
std::string jsonValue(const Value& value) {
  if (const auto* dictionary = value.asDictionary()) return jsonDictionary(*dictionary);
  if (const auto* array = value.asArray()) return jsonArray(*array, jsonValue);
  if (const auto* text = value.asString()) return jsonString(*text);
  if (const auto* data = value.asData()) return jsonString(hexadecimal(data->bytes, data->bytes.size()));
  if (const auto* truth = value.asBool()) return *truth ? "true" : "false";
  return value.isInteger() ? std::to_string(*value.asInteger()) : "null";
}

std::string shown(const Value& value) {
  if (const auto* text = value.asString()) return *text;
  if (const auto* data = value.asData()) {
    const std::string digits = hexadecimal(data->bytes, SHOWN_BYTES);
    return data->bytes.size() > SHOWN_BYTES ? digits + "... (" + std::to_string(data->bytes.size()) + " bytes)"
                                            : digits;
  }
  return jsonValue(value);
}

// The data of the display at a connector, read; std::nullopt if there is none.
std::optional<Result<Edid>> edidOf(const DeviceRow& device) {
  const auto entry = device.properties.find("IODisplayEDID");
  if (entry == device.properties.end() || !entry->second.isData()) return std::nullopt;
  return parseEdid(entry->second.asData()->bytes);
}

std::string displayDescription(const Result<Edid>& edid) {
  if (!edid) return edid.error().description;
  return !edid->name.empty() ? edid->name : edid->vendor + " " + std::to_string(edid->productID);
}

Cells cellsOf(const DeviceRow& device, const Glyphs& glyphs) {
  Cells cells = {device.name, device.className, textIn(device.properties, "DRIVER"), deviceDescription(device)};
  for (std::string& cell : cells) cell = printable(cell, glyphs);
  cells[0].insert(0, 2 * device.depth, ' ');
  return cells;
}

std::string propertyLines(const DeviceRow& device, const Glyphs& glyphs, std::optional<std::size_t> width) {
  std::string lines;
  for (const auto* properties : {&device.properties, &device.display})
    for (const auto& [key, value] : *properties) {
      const std::string line =
          std::string(2 * device.depth + 4, ' ') + printable(key, glyphs) + " = " + printable(shown(value), glyphs);
      lines += (width ? clipped(line, *width) : line) + "\n";
    }
  return lines;
}

}  // namespace

std::string deviceDescription(const DeviceRow& device) {
  if (const auto edid = edidOf(device)) return displayDescription(*edid);
  std::string product;
  for (const char* const key : {"ID_MODEL_FROM_DATABASE", "ID_MODEL", "NAME", "INTERFACE"})
    if (product.empty()) product = textIn(device.properties, key);
  const auto size = device.properties.find("Size");
  if (size == device.properties.end() || !size->second.isInteger()) return product;
  std::string text = bytes(static_cast<std::uint64_t>(std::max<std::int64_t>(*size->second.asInteger(), 0)));
  if (const std::string content = textIn(device.properties, "Content"); !content.empty()) {
    const std::string type = PartitionType().typeName(content);
    text += " " + (type == "Unknown" ? content : type);
  }
  return product.empty() ? text : text + ", " + product;
}

std::string deviceTable(const std::vector<DeviceRow>& devices, bool properties, const Glyphs& glyphs,
                        std::optional<std::size_t> width) {
  std::vector<Cells> rows = {{"Device", "Class", "Driver", "Description"}};
  for (const DeviceRow& device : devices) rows.push_back(cellsOf(device, glyphs));
  std::array<std::size_t, 3> widths{};
  for (const Cells& row : rows)
    for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], columnsOf(row[i]));
  std::string table;
  for (std::size_t at = 0; at < rows.size(); ++at) {
    std::string line;
    for (std::size_t i = 0; i < widths.size(); ++i) line += alignedLeft(rows[at][i], widths[i]) + "  ";
    line += rows[at].back();
    line.erase(line.find_last_not_of(' ') + 1);
    table += (width ? clipped(line, *width) : line) + "\n";
    if (properties && at > 0 && devices[at - 1].matches) table += propertyLines(devices[at - 1], glyphs, width);
  }
  return table;
}

std::string deviceObject(const DeviceRow& device) {
  const auto textOrNull = [](const std::string& text) { return text.empty() ? "null" : jsonString(text); };
  return R"({"name":)" + jsonString(device.name) + R"(,"class":)" + textOrNull(device.className) + R"(,"path":)" +
         textOrNull(device.path) + R"(,"parent":)" + textOrNull(device.parent) + R"(,"properties":)" +
         jsonDictionary(device.properties) + R"(,"display":)" +
         (device.display.empty() ? "null" : jsonDictionary(device.display)) + "}";
}

}  // namespace corvane::inspector
