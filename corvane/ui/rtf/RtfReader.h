#pragma once

#include <QByteArray>
#include <QString>
#include <QTextDocument>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/ui/rtf/RtfCodePages.h"
#include "corvane/ui/rtf/RtfDocument.h"
#include "corvane/ui/rtf/RtfLexer.h"
#include "corvane/ui/rtf/RtfState.h"

namespace corvane {

/// The bytes of a file that came with the document, by its name; std::nullopt if there is no such file.
using RtfAttachments = std::function<std::optional<QByteArray>(const QString& name)>;

/// Reads rich text (Rich Text Format 1.9.1, and \NeXTGraphic for attachments) into a text document. Takes any bytes,
/// and leaves out what it does not know; memory and time grow with their number only.
class RtfReader {
 public:
  /// Fills the document, which must be empty.
  static void read(std::string_view bytes, const RtfAttachments& attachments, QTextDocument& document);

  /// The address if a document may link to it: one of the web or of mail. Otherwise empty.
  static QString allowedLink(const QString& address);

 private:
  friend struct RtfWords;

  /// Where a group's text goes.
  enum class Target : std::uint8_t { TEXT, FONTS, COLORS, FIELD, PICTURE, ATTACHMENT };

  /// What a group inherits from the one around it.
  struct State {
    Target target = Target::TEXT;
    bool beginsTarget = false;  // rather than to be inside one
    bool isMarker = false;      // of a list
    RtfCharacters characters = {};
    RtfParagraph paragraph = {};
    int fallback = 1;  // how many characters stand for one in Unicode
  };

  RtfReader(std::string_view bytes, const RtfAttachments& attachments, QTextDocument& document);

  void readAll();
  void take(const RtfLexer::Token& token);
  void open();
  void close();
  void skipGroup();
  void begin(Target target);
  void end(Target target);
  void word(std::string_view word, std::optional<int> number);
  void symbol(char symbol);
  void bytes(std::string_view bytes);
  void decode();
  void unicode(int code);
  void characters(const QString& text);
  RtfFont& describedFont();
  void fontText(const QString& text);
  void colorText(const QString& text);
  void hexDigits(std::string_view digits);
  void endParagraph() { m_output.endParagraph(state().paragraph); }
  void beginLink();
  void attachment();
  int codePage() const;

  State& state() { return m_states.back(); }
  const State& state() const { return m_states.back(); }

  RtfLexer m_lexer;
  const RtfAttachments& m_attachments;
  RtfTables m_tables;
  RtfDocument m_output;
  RtfCodePages m_pages;
  std::vector<State> m_states = std::vector<State>(1);
  std::size_t m_unkept = 0;  // groups that are too deep to have a state of their own

  std::string m_bytes;         // not yet decoded
  std::size_t m_fallback = 0;  // characters to pass over, as they stand for one that was in Unicode
  bool m_mayBegin = false;     // at the beginning of a group
  bool m_isOptional = false;   // after \*
  bool m_isAfterAttachment = false;

  int m_codePage = RtfCodePages::WESTERN;
  int m_font = 0;  // the one that is being described
  RtfFont m_fontTooMany;
  QString m_fontName;
  QColor m_color;         // likewise
  QString m_instruction;  // of a field
  QString m_fileName;     // of an attachment
  bool m_isFileNameOver = false;
  RtfPicture m_picture;
  QByteArray m_data;     // of a picture
  int m_highDigit = -1;  // half a byte of it
  RtfRow m_row;
  RtfRow::Cell m_cell;
  bool m_isCellBorder = false;  // what follows describes one
};

}  // namespace corvane
