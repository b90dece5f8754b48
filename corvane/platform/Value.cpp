#include "corvane/platform/Value.h"

#include <cmath>

namespace corvane {

Value::Value() = default;
Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(const Value& other) = default;
Value& Value::operator=(Value&& other) noexcept = default;
Value::~Value() = default;

const Value* Value::find(std::string_view key) const {
  const Dictionary* dictionary = asDictionary();
  if (!dictionary) return nullptr;
  const auto entry = dictionary->find(key);
  return entry == dictionary->end() ? nullptr : &entry->second;
}

bool Value::operator==(const Value& other) const {
  const double* left = asReal();
  const double* right = other.asReal();
  if (left && right && std::isnan(*left)) return std::isnan(*right);
  return m_content == other.m_content;
}

}  // namespace corvane
