#include "corvane/infra/settings/DefaultSettings.h"

#include <unicode/brkiter.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include "corvane/core/Log.h"
#include "corvane/core/fatal.h"

namespace corvane {

namespace {

// Never destroyed.
union Lasting {
  DefaultSettings settings;
  constexpr Lasting() : settings() {}
  ~Lasting() {}  // NOLINT: the member stays
};

constinit Lasting s_defaults;

// Compares keys with a prefix by grapheme clusters.
class Prefix {
 public:
  static Result<Prefix> make(std::string_view text) {
    UErrorCode code = U_ZERO_ERROR;
    Prefix prefix;
    prefix.m_canonical = icu::Normalizer2::getNFDInstance(code);
    prefix.m_characters.reset(icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), code));
    if (U_FAILURE(code)) return failure("icu", code, u_errorName(code));
    prefix.m_text = prefix.canonical(text);
    return prefix;
  }

  bool isLessThanWhole(std::string_view key) {
    const icu::UnicodeString text = canonical(key);
    if (text.length() <= m_text.length() || !text.startsWith(m_text)) return false;
    m_characters->setText(text);
    return m_characters->isBoundary(m_text.length()) != 0;
  }

 private:
  icu::UnicodeString canonical(std::string_view text) const {
    UErrorCode code = U_ZERO_ERROR;
    const auto utf16 = icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
    icu::UnicodeString normal = m_canonical->normalize(utf16, code);
    return U_SUCCESS(code) ? normal : utf16;
  }

  const icu::Normalizer2* m_canonical = nullptr;
  std::unique_ptr<icu::BreakIterator> m_characters;
  icu::UnicodeString m_text;
};

std::optional<Color> colorIn(const Value& value) {
  const auto* dictionary = value.asDictionary();
  return dictionary ? Color::rgba(*dictionary) : std::nullopt;
}

std::optional<double> numberIn(const Value* value) {
  if (!value || !(value->isReal() || value->isInteger())) return std::nullopt;
  return realFrom(*value);
}

}  // namespace

constinit DefaultSettings& Defaults = s_defaults.settings;

std::string DefaultSettings::loadString(std::string_view key, std::string_view fallback) const {
  const auto value = defaults()->value(key);
  if (!value) return std::string(fallback);
  auto text = stringFrom(*value);
  if (!text) fatal("loadString: the value of " + std::string(key) + " cannot be read as text");
  return std::move(*text);
}

std::int64_t DefaultSettings::loadInteger(std::string_view key, std::int64_t fallback) const {
  return defaults()->integer(key).value_or(fallback);
}

double DefaultSettings::loadDouble(std::string_view key, double fallback) const {
  return defaults()->real(key).value_or(fallback);
}

bool DefaultSettings::loadBool(std::string_view key, bool fallback) const {
  return defaults()->boolean(key).value_or(fallback);
}

Timeval DefaultSettings::loadTimeval(std::string_view key, Timeval fallback) const {
  const auto usecs = defaults()->integer(key);
  return usecs ? Timeval::usec(*usecs) : fallback;
}

std::optional<Data> DefaultSettings::loadData(std::string_view key, const std::optional<Data>& fallback) const {
  const auto value = defaults()->value(key);
  if (!value) return fallback;
  const auto* data = value->asData();
  return data ? std::optional(*data) : std::nullopt;
}

std::optional<Value::Dictionary> DefaultSettings::loadDictionary(std::string_view key) const {
  return defaults()->dictionary(key);
}

std::optional<std::vector<std::string>> DefaultSettings::loadStringArray(std::string_view key) const {
  return defaults()->stringArray(key);
}

Color DefaultSettings::loadColor(std::string_view key, const Color& fallback) const {
  const auto value = defaults()->value(key);
  return value ? colorIn(*value).value_or(fallback) : fallback;
}

std::optional<std::vector<Color>> DefaultSettings::loadColorArray(std::string_view key) const {
  const auto value = defaults()->value(key);
  const auto* array = value ? value->asArray() : nullptr;
  if (!array) return std::nullopt;
  std::vector<Color> colors;
  for (const Value& element : *array) {
    auto color = colorIn(element);
    if (!color) return std::nullopt;
    colors.push_back(std::move(*color));
  }
  return colors;
}

std::optional<Font> DefaultSettings::loadFont(std::string_view key) const {
  const auto value = defaults()->value(key);
  if (!value) return std::nullopt;
  const Value* name = value->find("fontName");
  const auto size = numberIn(value->find("fontSize"));
  if (!name || !name->isString() || !size) return std::nullopt;
  return Font::named(*name->asString(), *size);
}

void DefaultSettings::saveString(std::string_view key, std::string_view text) const {
  save(key, text);
}
void DefaultSettings::saveInteger(std::string_view key, std::int64_t integer) const {
  save(key, integer);
}
void DefaultSettings::saveDouble(std::string_view key, double number) const {
  save(key, number);
}
void DefaultSettings::saveBool(std::string_view key, bool truth) const {
  save(key, truth);
}
void DefaultSettings::saveTimeval(std::string_view key, Timeval time) const {
  save(key, time.usec());
}
void DefaultSettings::saveData(std::string_view key, Data data) const {
  save(key, std::move(data));
}
void DefaultSettings::saveDictionary(std::string_view key, Value::Dictionary dictionary) const {
  save(key, std::move(dictionary));
}
void DefaultSettings::saveStringArray(std::string_view key, const std::vector<std::string>& texts) const {
  save(key, Value::Array(texts.begin(), texts.end()));
}

void DefaultSettings::saveColor(std::string_view key, const Color& color) const {
  if (auto dictionary = color.rgbaColor()) save(key, std::move(*dictionary));
}

void DefaultSettings::saveColorArray(std::string_view key, const std::vector<Color>& colors) const {
  Value::Array array;
  for (const Color& color : colors)
    if (auto dictionary = color.rgbaColor()) array.emplace_back(std::move(*dictionary));
  save(key, std::move(array));
}

void DefaultSettings::saveFont(std::string_view key, const Font& font) const {
  Value::Dictionary dictionary{{"fontSize", font.size}};
  if (!font.family.empty()) dictionary.emplace("fontName", font.family);
  save(key, std::move(dictionary));
}

void DefaultSettings::remove(std::string_view key) const {
  [[maybe_unused]] const auto logged = defaults()->remove(key);
}

void DefaultSettings::removeAll() const {
  std::vector<std::string> keys;
  for (const auto& [key, value] : defaults()->dictionaryRepresentation()) keys.push_back(key);
  removeKeys(keys);
}

void DefaultSettings::deleteKeys(std::string_view prefix) const {
  auto matching = Prefix::make(prefix);
  if (!matching) {
    logNotice("deleteKeys: " + matching.error().description);
    return;
  }
  std::vector<std::string> keys;
  for (const auto& [key, value] : defaults()->dictionaryRepresentation())
    if (matching->isLessThanWhole(key)) keys.push_back(key);
  removeKeys(keys);
}

void DefaultSettings::save(std::string_view key, Value value) const {
  [[maybe_unused]] const auto logged = defaults()->set(key, std::move(value));
}

void DefaultSettings::removeKeys(const std::vector<std::string>& keys) const {
  std::vector<UserDefaults::Change> changes;
  for (const std::string& key : keys) changes.push_back({key, std::nullopt});
  [[maybe_unused]] const auto logged = defaults()->apply(changes);
}

}  // namespace corvane
