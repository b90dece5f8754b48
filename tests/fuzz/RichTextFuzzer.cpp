#include <QGuiApplication>
#include <QTextBlock>
#include <QTextDocument>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "corvane/ui/rtf/RtfReader.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});  // about pictures
  new QGuiApplication(*argc, *argv);
  return 0;
}

// Any bytes make a document that is no larger than they are, and whose links and pictures are harmless.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text{reinterpret_cast<const char*>(bytes), size};
  const corvane::RtfAttachments attachments = [&](const QString& name) -> std::optional<QByteArray> {
    if (name.size() % 2 == 0) return std::nullopt;
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
  };
  QTextDocument document;
  corvane::RtfReader::read(text, attachments, document);
  if (document.characterCount() > static_cast<qsizetype>(size) * 64 + 2) std::abort();  // as a cell may begin 63
  for (QTextBlock block = document.begin(); block.isValid(); block = block.next())
    for (auto part = block.begin(); !part.atEnd(); ++part) {
      const QTextCharFormat format = part.fragment().charFormat();
      if (format.isAnchor() && corvane::RtfReader::allowedLink(format.anchorHref()) != format.anchorHref())
        std::abort();
      if (format.isImageFormat() && !format.toImageFormat().name().startsWith("picture:")) std::abort();
    }
  return 0;
}
