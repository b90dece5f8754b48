#pragma once

#include <memory>
#include <optional>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// A text to translate.
struct LocalizedText {
  std::string english;                      ///< the text, which is its own key
  std::optional<std::string> context = {};  ///< tells it from the same text with another meaning
  std::optional<unsigned long> count = {};  ///< if the text has one, the translation has the form for this number
  std::string catalogue = "corvane";        ///< the library's own texts, or a name given to addCatalogue()
};

/// Texts in the user's language. Any thread.
///
/// On Linux they are in catalogues of gettext, share/locale/LANGUAGE/LC_MESSAGES/NAME.mo. The language is that of the
/// application's locale for messages, and of the environment (LC_ALL, LC_MESSAGES, LANG) if the application never
/// called setlocale(); LANGUAGE takes precedence over both. The locale must be installed on the machine.
///
/// @feature Translated texts.
/// @needs Catalogues in `share/locale`, and an installed locale (`locales`).
/// @without The texts are in English.
class Localization {
 public:
  virtual ~Localization() = default;

  /// The translation, as UTF-8 whatever the locale's encoding; std::nullopt if there is none, and for the empty text.
  virtual std::optional<std::string> find(const LocalizedText& text) = 0;

  /// Makes a catalogue of the application known; adding it again moves it. `folder` is the one that holds the folders
  /// of the languages. If it is empty, this is the nearest share/locale above the executable.
  virtual void addCatalogue(const std::string& name, const std::string& folder) = 0;

  /// The translation of a text of the library, or the English text if there is none.
  std::string text(const std::string& english) { return find({english}).value_or(english); }
};

template <>
CORVANE_API std::shared_ptr<Localization> makeService<Localization>();

}  // namespace corvane
