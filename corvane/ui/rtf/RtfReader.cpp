#include "corvane/ui/rtf/RtfReader.h"

#include <QUrl>
#include <algorithm>
#include <array>

#include "corvane/ui/rtf/RtfWords.h"

namespace corvane {

namespace {

constexpr std::size_t MAX_DEPTH = 1'000;  // of groups that have a state of their own
constexpr std::size_t MAX_FONTS = 512;    // the toolkit compares each new look with all that differ in the font only
constexpr int ATTACHMENT_MARK = 0xAC;     // what stands in the text for an attachment

int hexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

// The family in a font's name that also names a face: "Helvetica-Bold".
QString familyIn(QString name) {
  name = name.trimmed();
  const qsizetype hyphen = name.lastIndexOf(u'-');
  if (hyphen <= 0) return name;
  static constexpr std::array FACES = {"Bold", "Italic", "Oblique", "Regular", "Medium", "Light", "Roman"};
  const QString face = name.mid(hyphen + 1);
  const bool isFace =
      std::ranges::any_of(FACES, [&](const char* known) { return face.startsWith(QLatin1String(known)); });
  return isFace ? name.left(hyphen) : name;
}

}  // namespace

void RtfReader::read(std::string_view bytes, const RtfAttachments& attachments, QTextDocument& document) {
  RtfReader(bytes, attachments, document).readAll();
}

QString RtfReader::allowedLink(const QString& address) {
  const QUrl url(address.trimmed());
  if (!url.isValid()) return {};
  const bool isWeb = (url.scheme() == u"http" || url.scheme() == u"https") && !url.host().isEmpty();
  const bool isMail = url.scheme() == u"mailto" && !url.path().isEmpty();
  return isWeb || isMail ? QString::fromUtf8(url.toEncoded()) : QString();
}

RtfReader::RtfReader(std::string_view bytes, const RtfAttachments& attachments, QTextDocument& document)
    : m_lexer(bytes), m_attachments(attachments), m_output(document, m_tables) {}

void RtfReader::readAll() {
  for (auto token = m_lexer.next(); token.kind != RtfLexer::Kind::END; token = m_lexer.next()) take(token);
  while (m_states.size() > 1) close();
  decode();
  m_output.finish(state().paragraph);
}

void RtfReader::take(const RtfLexer::Token& token) {
  using Kind = RtfLexer::Kind;
  switch (token.kind) {
    case Kind::OPEN:
      return open();
    case Kind::CLOSE:
      return close();
    case Kind::WORD:
      word(token.text, token.number);
      break;
    case Kind::SYMBOL:
      symbol(token.text.front());
      if (token.text == "*") return;
      break;
    case Kind::TEXT:
      bytes(token.text);
      break;
    case Kind::BYTE: {
      const char byte = static_cast<char>(*token.number);
      if (!m_isAfterAttachment || *token.number != ATTACHMENT_MARK) bytes({&byte, 1});
      m_isAfterAttachment = false;
      break;
    }
    case Kind::BINARY:
      if (state().target == Target::PICTURE)
        m_data.append(token.text.data(), static_cast<qsizetype>(token.text.size()));
      break;
    case Kind::END:
      break;
  }
  m_mayBegin = m_isOptional = false;
}

void RtfReader::open() {
  decode();
  m_fallback = 0;
  m_mayBegin = true;
  m_isOptional = false;
  if (m_states.size() >= MAX_DEPTH) {
    ++m_unkept;
    return;
  }
  m_states.push_back(state());
  state().beginsTarget = false;
}

void RtfReader::close() {
  decode();
  m_fallback = 0;
  m_mayBegin = m_isOptional = false;
  if (m_unkept > 0) {
    --m_unkept;
  } else if (m_states.size() > 1) {  // otherwise one more is closed than was opened
    const State ended = std::move(state());
    m_states.pop_back();
    if (ended.beginsTarget) end(ended.target);
  }
}

void RtfReader::skipGroup() {
  for (std::size_t depth = 1; depth > 0;) {
    const auto kind = m_lexer.next().kind;
    if (kind == RtfLexer::Kind::END) return;
    if (kind == RtfLexer::Kind::OPEN) ++depth;
    if (kind == RtfLexer::Kind::CLOSE) --depth;
  }
  close();
}

void RtfReader::begin(Target target) {
  state().target = target;
  state().beginsTarget = true;
  if (target == Target::FIELD) m_instruction.clear();
  if (target == Target::ATTACHMENT) {
    m_fileName.clear();
    m_isFileNameOver = false;
  }
  if (target == Target::PICTURE || target == Target::ATTACHMENT) {
    m_picture = {};
    m_data.clear();
    m_highDigit = -1;
  }
}

void RtfReader::end(Target target) {
  if (target == Target::PICTURE)
    m_output.picture(m_data, m_picture, state().characters, state().paragraph.isInTable);
  else if (target == Target::ATTACHMENT)
    attachment();
}

void RtfReader::word(std::string_view word, std::optional<int> number) {
  if (m_fallback > 0) {
    --m_fallback;
    return;
  }
  decode();
  const RtfWords::Handler* const handler = RtfWords::find(word);
  if (m_mayBegin && m_isOptional && !(handler && handler->isDestination)) return skipGroup();
  if (handler) handler->apply(*this, number);
}

void RtfReader::symbol(char symbol) {
  if (symbol == '*') {
    m_isOptional = m_mayBegin;
    return;
  }
  if (m_fallback > 0) {
    --m_fallback;
    return;
  }
  decode();
  switch (symbol) {
    case '\\':
    case '{':
    case '}':
      return bytes({&symbol, 1});
    case '~':
      return characters(QChar(QChar::Nbsp));
    case '_':
      return characters(QChar(ushort{0x2011}));
    case '-':
      return characters(QChar(QChar::SoftHyphen));
    case '\t':
      return characters(QChar(QChar::Tabulation));
    case '\n':
    case '\r':
      if (state().target == Target::TEXT) endParagraph();
      return;
    default:
      return;
  }
}

void RtfReader::bytes(std::string_view bytes) {
  const std::size_t passed = std::min(m_fallback, bytes.size());
  m_fallback -= passed;
  bytes.remove_prefix(passed);
  if (bytes.empty()) return;
  if (state().target == Target::PICTURE)
    hexDigits(bytes);
  else
    m_bytes += bytes;
}

// Bytes become text when their run ends, as a character may take two.
void RtfReader::decode() {
  if (m_bytes.empty()) return;
  const QString text = m_pages.decoded(m_bytes, codePage());
  m_bytes.clear();
  characters(text);
}

int RtfReader::codePage() const {
  if (state().target == Target::FONTS) {
    const auto font = m_tables.fonts.find(m_font);
    const auto page = font == m_tables.fonts.end() ? std::nullopt : font->second.codePage;
    return page && *page != RtfCodePages::SYMBOLS ? *page : m_codePage;
  }
  const int number = state().characters.font;
  const auto font = m_tables.fonts.find(number < 0 ? m_tables.ordinaryFont : number);
  return font == m_tables.fonts.end() ? m_codePage : font->second.codePage.value_or(m_codePage);
}

void RtfReader::unicode(int code) {
  decode();
  m_fallback = static_cast<std::size_t>(state().fallback);
  // Numbers are of 16 bits and often negative; fonts of symbols have theirs from U+F000 on.
  const auto unit = static_cast<std::uint16_t>(code);
  const bool isSymbol = unit >= 0xF020 && unit <= 0xF0FF;
  const char byte = static_cast<char>(unit & 0xFFU);
  characters(isSymbol ? m_pages.decoded({&byte, 1}, RtfCodePages::SYMBOLS) : QString(QChar(unit)));
}

void RtfReader::characters(const QString& text) {
  m_isAfterAttachment = false;
  switch (state().target) {
    case Target::TEXT: {
      QString shown = text;
      // What would end a paragraph, a cell or a table in the toolkit's documents.
      shown.removeIf([](QChar c) {
        return (c < u' ' && c != QChar::Tabulation) || c == QChar::ObjectReplacementCharacter ||
               c == QChar::ParagraphSeparator || (c >= QChar(ushort{0xFDD0}) && c <= QChar(ushort{0xFDEF}));
      });
      if (state().isMarker) shown.remove(u' ');  // or the mark would not fit its indent
      return m_output.text(shown, state().characters, state().paragraph.isInTable);
    }
    case Target::FONTS:
      return fontText(text);
    case Target::COLORS:
      return colorText(text);
    case Target::FIELD:
      m_instruction += text;
      return;
    case Target::ATTACHMENT:
      if (!m_isFileNameOver) m_fileName += text;
      return;
    case Target::PICTURE:
      return;
  }
}

RtfFont& RtfReader::describedFont() {
  const auto known = m_tables.fonts.find(m_font);
  if (known != m_tables.fonts.end()) return known->second;
  return m_tables.fonts.size() < MAX_FONTS ? m_tables.fonts[m_font] : m_fontTooMany;
}

void RtfReader::fontText(const QString& text) {
  for (const QChar c : text) {
    if (c != u';') {
      m_fontName += c;
      continue;
    }
    describedFont().name = familyIn(m_fontName);
    m_fontName.clear();
  }
}

void RtfReader::colorText(const QString& text) {
  for (const QChar c : text) {
    if (c != u';') continue;
    m_tables.colors.push_back(m_color);
    m_color = QColor();
  }
}

void RtfReader::hexDigits(std::string_view digits) {
  for (const char digit : digits) {
    const int value = hexValue(digit);
    if (value < 0) continue;
    if (m_highDigit < 0) {
      m_highDigit = value;
    } else {
      m_data.append(static_cast<char>(m_highDigit * 16 + value));
      m_highDigit = -1;
    }
  }
}

// A field's result is shown; it becomes a link if the field says so: HYPERLINK "address" and switches.
void RtfReader::beginLink() {
  const QString instruction = m_instruction.trimmed();
  m_instruction.clear();
  constexpr QLatin1String NAME("HYPERLINK");
  if (!instruction.startsWith(NAME, Qt::CaseInsensitive)) return;
  QString address = instruction.mid(NAME.size()).trimmed();
  if (address.startsWith(u'\\')) return;  // a place in the document
  address = address.startsWith(u'"') ? address.section(u'"', 1, 1) : address.section(u' ', 0, 0);
  address = allowedLink(address);
  if (address.isEmpty()) return;
  m_tables.links.push_back(address);
  state().characters.link = static_cast<int>(m_tables.links.size()) - 1;
}

void RtfReader::attachment() {
  const QString name = m_fileName.trimmed();
  const auto bytes = m_attachments ? m_attachments(name) : std::nullopt;
  if (bytes) {
    m_picture.format = bytes->startsWith("\x89PNG") ? "png" : bytes->startsWith("\xFF\xD8") ? "jpeg" : nullptr;
    m_output.picture(*bytes, m_picture, state().characters, state().paragraph.isInTable);
  }
  m_isAfterAttachment = true;
}

}  // namespace corvane
