#pragma once

#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Service.h"

namespace corvane {

/// The library's own texts in the user's language. Any thread.
class Localization {
 public:
  virtual ~Localization() = default;

  /// The translation of an English text, as UTF-8 whatever the locale's encoding; the English text itself if there is
  /// no translation.
  ///
  /// On Linux the language is that of the application's locale for messages, and of the environment (LC_ALL,
  /// LC_MESSAGES, LANG) if the application never called setlocale(); LANGUAGE takes precedence over both. The locale
  /// must be installed on the machine. The catalogues are share/locale/LANGUAGE/LC_MESSAGES/corvane.mo in a folder
  /// above the library.
  virtual std::string text(const std::string& english) = 0;
};

template <>
CORVANE_API std::shared_ptr<Localization> makeService<Localization>();

}  // namespace corvane
