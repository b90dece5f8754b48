#include "corvane/infra/settings/Color.h"

#include <cmath>

namespace corvane {

namespace {

constexpr std::pair<const char*, double RGBA::*> COMPONENTS[] = {
    {"red", &RGBA::red}, {"green", &RGBA::green}, {"blue", &RGBA::blue}, {"alpha", &RGBA::alpha}};

std::optional<double> numberIn(const Value& value) {
  if (const auto* integer = value.asInteger()) return static_cast<double>(*integer);
  const auto* real = value.asReal();
  return real && std::isfinite(*real) ? std::optional(*real) : std::nullopt;
}

}  // namespace

std::optional<Color> Color::rgba(const Value::Dictionary& dictionary) {
  for (const auto& [key, value] : dictionary)
    if (!numberIn(value)) return std::nullopt;
  RGBA components;
  for (const auto& [key, component] : COMPONENTS) {
    const auto found = dictionary.find(key);
    if (found == dictionary.end()) return std::nullopt;
    components.*component = *numberIn(found->second);
  }
  return Color(components);
}

std::optional<Value::Dictionary> Color::rgbaColor() const {
  if (!m_components) return std::nullopt;
  Value::Dictionary dictionary;
  for (const auto& [key, component] : COMPONENTS) {
    const double number = (*m_components).*component;
    if (!std::isfinite(number)) return std::nullopt;
    dictionary.emplace(key, number);
  }
  return dictionary;
}

}  // namespace corvane
