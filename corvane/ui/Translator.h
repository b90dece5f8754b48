#pragma once

#include <QTranslator>
#include <string>

#include "corvane/platform/Export.h"

namespace corvane {

/// Gives the application's windows their texts in the user's language: those of tr(), those of interface files (.ui),
/// those of this library, and the ones that Qt's own widgets and dialogs show. They come from gettext's catalogues; see
/// corvane/platform/Localization.h for which language that is, and corvane_catalogues (CMake) for how an application
/// makes its own.
///
///     QApplication application(argc, argv);
///     Translator translator("viewer");  // share/locale/LANGUAGE/LC_MESSAGES/viewer.mo
///     QCoreApplication::installTranslator(&translator);
///
/// **What is looked up** is the English text exactly as written, with "&" and "...", in the context (msgctxt) that
/// tells it from others: the comment of tr() or of the interface file; if there is none, or no such entry, the name of
/// the class; then without a context. Texts with %n have a plural form for each number; without a translation %n alone
/// is replaced, so an application whose texts say "%n file(s)" may bring an English catalogue.
///
/// The application's catalogue takes precedence over the library's, but not for the texts of Qt's classes, whose names
/// begin with Q. The library's has German, Spanish, French and Japanese. A text without a translation is left to the
/// translators installed before, and finally stays English.
class CORVANE_API Translator : public QTranslator {
  Q_OBJECT

 public:
  /// The texts of the library and of Qt only.
  explicit Translator(QObject* parent = nullptr) : QTranslator(parent) {}
  /// Also those of an application. `folder` holds the folders of the languages; if it is empty, that is the nearest
  /// share/locale above the executable.
  explicit Translator(std::string catalogue, const std::string& folder = {}, QObject* parent = nullptr);

  bool isEmpty() const override { return false; }  ///< false: it may have any text

  /// The translation, for Qt; null if there is none. Any thread.
  QString translate(const char* context, const char* sourceText, const char* disambiguation = nullptr,
                    int n = -1) const override;

 private:
  const std::string m_catalogue;  // empty: none
};

}  // namespace corvane
