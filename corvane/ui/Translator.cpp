#include "corvane/ui/Translator.h"

#include <utility>

#include "corvane/platform/Platform.h"

namespace corvane {

Translator::Translator(std::string catalogue, const std::string& folder, QObject* parent)
    : QTranslator(parent), m_catalogue(std::move(catalogue)) {
  platform().localization().addCatalogue(m_catalogue, folder);
}

QString Translator::translate(const char* context, const char* sourceText, const char* disambiguation, int n) const {
  if (!sourceText) return {};
  LocalizedText text{sourceText};
  if (n >= 0) text.count = static_cast<unsigned long>(n);
  const std::string library = std::exchange(text.catalogue, m_catalogue);
  const auto find = [&]() -> std::optional<std::string> {
    for (const char* const kind : {disambiguation, context}) {
      if (!kind) continue;
      text.context = kind;
      if (auto found = platform().localization().find(text)) return found;
    }
    text.context.reset();
    return platform().localization().find(text);
  };
  const bool isOfQt = context && context[0] == 'Q';
  if (isOfQt) text.catalogue = library;
  auto found = find();
  if (!found) {
    text.catalogue = isOfQt ? m_catalogue : library;
    found = find();
  }
  return found ? QString::fromStdString(*found) : QString();
}

}  // namespace corvane
