#include "apps/inspector/window/Shown.h"

namespace corvane::inspector {

namespace {

bool isUnsafe(QChar character) {
  switch (character.direction()) {
    case QChar::DirLRE:
    case QChar::DirLRO:
    case QChar::DirRLE:
    case QChar::DirRLO:
    case QChar::DirPDF:
    case QChar::DirLRI:
    case QChar::DirRLI:
    case QChar::DirFSI:
    case QChar::DirPDI:
      return true;
    default:
      break;
  }
  const bool isLineEnd = character == QChar::LineSeparator || character == QChar::ParagraphSeparator;
  return isLineEnd || character.isNonCharacter() ||
         (character.category() == QChar::Other_Control && character != u'\t');
}

}  // namespace

QString shown(std::string_view bytes) {
  QString text = QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
  for (QChar& character : text)
    if (isUnsafe(character)) character = QChar::ReplacementCharacter;
  return text;
}

QString shownOrDash(std::string_view bytes) {
  return bytes.empty() ? QStringLiteral("–") : shown(bytes);
}

}  // namespace corvane::inspector
