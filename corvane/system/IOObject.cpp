#include "corvane/system/IOObject.h"

#include "corvane/core/Log.h"
#include "corvane/core/Text.h"
#include "corvane/platform/Platform.h"
#include "corvane/system/Edid.h"

namespace corvane {

namespace {

DeviceRegistry& registry() {
  return platform().deviceRegistry();
}

}  // namespace

IOObject::IOObject(const IOObject& other) : m_obj(other.m_obj) {
  if (m_obj != 0) registry().retain(m_obj);
}

IOObject::~IOObject() {
  if (m_obj != 0) registry().release(m_obj);
}

std::vector<IOObject> IOObject::services(const std::string& className) {
  const auto handles = registry().matching(className);
  if (!handles) {
    logNotice("IOObject: " + handles.error().description);
    return {};
  }
  return {handles->begin(), handles->end()};
}

IOObject IOObject::parent() const {
  return IOObject(m_obj != 0 ? registry().parent(m_obj) : 0);
}

IOObject IOObject::firstChild() const {
  return IOObject(m_obj != 0 ? registry().firstChild(m_obj) : 0);
}

Value::Dictionary IOObject::properties() const {
  return registry().properties(m_obj).value_or(Value::Dictionary());
}

Value::Dictionary IOObject::displayInfo() const {
  const Value all = properties();
  const Value* const data = all.find("IODisplayEDID");
  if (!data || !data->isData()) return {};
  auto edid = parseEdid(data->asData()->bytes);
  if (!edid) return {};
  Value::Dictionary info{{"DisplayVendorID", edid->vendorID},
                         {"DisplayProductID", edid->productID},
                         {"DisplaySerialNumber", edid->serial},
                         {"DisplayYearManufacture", edid->year}};
  if (edid->week) info["DisplayWeekManufacture"] = *edid->week;
  if (edid->widthMm > 0) info["DisplayHorizontalImageSize"] = edid->widthMm;
  if (edid->heightMm > 0) info["DisplayVerticalImageSize"] = edid->heightMm;
  if (!edid->serialText.empty()) info["DisplaySerialString"] = std::move(edid->serialText);
  if (!edid->name.empty()) info["DisplayProductName"] = Value::Dictionary{{"en_US", std::move(edid->name)}};
  return info;
}

std::optional<std::string> IOObject::className() const {
  const auto name = registry().className(m_obj);
  if (!name) return std::nullopt;
  return repaired(name->substr(0, name->find('\0')));
}

}  // namespace corvane
