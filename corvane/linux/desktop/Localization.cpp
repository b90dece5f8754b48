#include "corvane/platform/Localization.h"

#include <libintl.h>
#include <locale.h>

#include <cstdlib>
#include <string_view>
#include <type_traits>

#include "corvane/core/Mutex.h"
#include "corvane/linux/desktop/SharedFolder.h"

namespace corvane {

namespace {

constexpr char CATALOGUE[] = "corvane";

using Locale = std::shared_ptr<std::remove_pointer_t<locale_t>>;

// Puts a locale in force on this thread until the end of the scope; null changes nothing.
class ScopedLocale {
 public:
  explicit ScopedLocale(Locale locale)
      : m_locale(std::move(locale)), m_previous(m_locale ? uselocale(m_locale.get()) : nullptr) {}
  ~ScopedLocale() {
    if (m_locale) uselocale(m_previous);
  }
  ScopedLocale(const ScopedLocale&) = delete;
  ScopedLocale& operator=(const ScopedLocale&) = delete;

 private:
  const Locale m_locale;
  const locale_t m_previous;
};

class GettextLocalization : public Localization {
 public:
  GettextLocalization() { bind(CATALOGUE, librarysFolder("locale")); }

  std::optional<std::string> find(const LocalizedText& text) override {
    // The empty text stands for the catalogue's header, the empty catalogue for one that others have chosen.
    if (text.english.empty() || text.catalogue.empty()) return std::nullopt;
    const ScopedLocale scope(isLocaleSet() ? nullptr : environmentsLocale());
    constexpr char AFTER_CONTEXT = '\4';
    const std::string key = text.context ? *text.context + AFTER_CONTEXT + text.english : text.english;
    const char* const catalogue = text.catalogue.c_str();
    const char* const found =
        text.count ? dngettext(catalogue, key.c_str(), key.c_str(), *text.count) : dgettext(catalogue, key.c_str());
    return found == key.c_str() ? std::nullopt : std::optional<std::string>(found);
  }

  void addCatalogue(const std::string& name, const std::string& folder) override {
    if (!name.empty()) bind(name.c_str(), folder.empty() ? sharedFolder("/proc/self/exe", "locale") : folder);
  }

 private:
  static void bind(const char* catalogue, const std::string& folder) {
    if (!folder.empty()) bindtextdomain(catalogue, folder.c_str());
    bind_textdomain_codeset(catalogue, "UTF-8");
  }

  static bool isLocaleSet() {
    return uselocale(nullptr) != LC_GLOBAL_LOCALE || std::string_view(setlocale(LC_MESSAGES, nullptr)) != "C";
  }

  // The user's locale for messages; null if it is not installed.
  Locale environmentsLocale() {
    const char* name = "";
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"})
      if (const char* value = std::getenv(variable); value && *value) {
        name = value;
        break;
      }
    MutexLock lock(m_mutex);
    if (m_name != name) {
      m_name = name;
      m_locale.reset();
      if (const locale_t made = newlocale(LC_MESSAGES_MASK, name, nullptr)) m_locale = Locale(made, freelocale);
    }
    return m_locale;
  }

  Mutex m_mutex;
  std::string m_name CORVANE_GUARDED_BY(m_mutex);  // the name that m_locale was created from
  Locale m_locale CORVANE_GUARDED_BY(m_mutex);
};

}  // namespace

template <>
std::shared_ptr<Localization> makeService<Localization>() {
  return std::make_shared<GettextLocalization>();
}

}  // namespace corvane
