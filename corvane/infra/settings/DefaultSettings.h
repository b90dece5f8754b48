#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "corvane/core/Timeval.h"
#include "corvane/infra/settings/Color.h"
#include "corvane/infra/settings/Font.h"
#include "corvane/infra/settings/UserDefaults.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Value.h"

namespace corvane {

/// Typed settings. A small value: copies act on the same settings. Applications use the global `Defaults`.
///
///     Defaults.saveInteger("volume", 7);
///     const auto volume = Defaults.loadInteger("volume", 5);       // 7; 5 if there were none
///     Defaults.saveColor("ink", Color::rgba(0.1, 0.2, 0.3));
///
/// Every operation acts at once on the UserDefaults, with the same guarantees: a saved value survives the process
/// however it ends; a value that could not be stored is logged and cannot be read; loads read from memory and see other
/// programs' changes; the application's values take precedence over the global and the registered ones.
///
/// The values stored under the caller's key:
///
/// - text, array of texts, dictionary, data: itself;
/// - integer, double, boolean: an integer, a real, a boolean;
/// - Timeval: an integer, its whole microseconds, truncated toward zero;
/// - colour: a dictionary of the reals "red", "green", "blue" and "alpha";
/// - colours: an array of such dictionaries;
/// - font: a dictionary of "fontName", the name of the family, and "fontSize", in points.
///
/// Loads convert between texts, integers, reals and booleans as corvane/infra/settings/Conversions.h says: a stored
/// text "12" is the integer 12. An absent key is one that is neither stored nor registered. Any thread, at any time.
class CORVANE_API DefaultSettings {
 public:
  /// The settings that UserDefaults::shared() gives, looked up at each operation.
  constexpr DefaultSettings() = default;
  /// The settings of an object; null means the shared ones.
  explicit DefaultSettings(std::shared_ptr<UserDefaults> defaults) : m_defaults(std::move(defaults)) {}

  /// Fatal if the stored value cannot be read as text: data, a date, an array, a dictionary.
  std::string loadString(std::string_view key, std::string_view fallback) const;
  /// The stored value as a number or truth value, or the fallback if the key is absent.
  std::int64_t loadInteger(std::string_view key, std::int64_t fallback) const;
  double loadDouble(std::string_view key, double fallback) const;
  bool loadBool(std::string_view key, bool fallback) const;
  /// Fatal if the stored microseconds do not fit a Timeval.
  Timeval loadTimeval(std::string_view key, Timeval fallback) const;
  /// std::nullopt, not the fallback, if the stored value is not data.
  std::optional<Data> loadData(std::string_view key, const std::optional<Data>& fallback) const;
  /// std::nullopt if the key is absent or holds something else; likewise for the other two without a fallback.
  std::optional<Value::Dictionary> loadDictionary(std::string_view key) const;
  std::optional<std::vector<std::string>> loadStringArray(std::string_view key) const;
  /// Also gives the fallback if the stored value is not a colour.
  Color loadColor(std::string_view key, const Color& fallback) const;
  /// Also gives std::nullopt if any element is not a colour.
  std::optional<std::vector<Color>> loadColorArray(std::string_view key) const;
  /// The stored name is that of a family and is looked up as the name of a font: the result is the family's default
  /// face, whichever face was saved. Also gives std::nullopt if no such font is installed.
  std::optional<Font> loadFont(std::string_view key) const;

  /// Stores the value under the key. Fails as UserDefaults::set does.
  void saveString(std::string_view key, std::string_view text) const;
  void saveInteger(std::string_view key, std::int64_t integer) const;
  void saveDouble(std::string_view key, double number) const;
  void saveBool(std::string_view key, bool truth) const;
  void saveTimeval(std::string_view key, Timeval time) const;
  void saveData(std::string_view key, Data data) const;
  void saveDictionary(std::string_view key, Value::Dictionary dictionary) const;
  void saveStringArray(std::string_view key, const std::vector<std::string>& texts) const;
  /// A colour without components is not stored: the earlier value stays.
  void saveColor(std::string_view key, const Color& color) const;
  /// Colours without components are omitted.
  void saveColorArray(std::string_view key, const std::vector<Color>& colors) const;
  /// Without a family, "fontName" is omitted, and the font cannot be loaded again.
  void saveFont(std::string_view key, const Font& font) const;

  /// Removes the application's value; a global or registered one becomes visible again.
  void remove(std::string_view key) const;
  /// Removes all of the application's values in one change; those of other domains stay.
  void removeAll() const;
  /// Removes, in one change, the application's values whose keys begin with `prefix` and are longer; a key that equals
  /// it stays. The comparison is case-sensitive and by characters as a reader sees them (grapheme clusters, in either
  /// form of composition): the prefix "e" does not match a key that begins with e and a combining accent.
  void deleteKeys(std::string_view prefix) const;

 private:
  std::shared_ptr<UserDefaults> defaults() const { return m_defaults ? m_defaults : UserDefaults::shared(); }
  void save(std::string_view key, Value value) const;
  void removeKeys(const std::vector<std::string>& keys) const;

  std::shared_ptr<UserDefaults> m_defaults;
};

/// The application's settings. Usable at any time, including in static constructors and destructors.
CORVANE_API extern DefaultSettings& Defaults;

}  // namespace corvane
