#include "corvane/ui/rtf/RtfWords.h"

#include <QChar>
#include <algorithm>
#include <unordered_map>
#include <utility>

#include "corvane/ui/rtf/RtfReader.h"

namespace corvane {

namespace {

using Number = std::optional<int>;
using Apply = void (*)(RtfReader&, Number);
using Word = std::pair<std::string_view, Apply>;

constexpr int MAX_LENGTH = 31'680;  // 22 inches: the largest page
constexpr int MAX_HALF_POINTS = 1'000;
constexpr std::size_t MAX_TABS = 32;
constexpr std::size_t MAX_CELLS = 63;

int length(Number number) {
  return std::clamp(number.value_or(0), -MAX_LENGTH, MAX_LENGTH);
}

// A word that is switched off by a 0 behind it.
bool isOn(Number number) {
  return number != 0;
}

int byte(Number number) {
  return std::clamp(number.value_or(0), 0, 255);
}

}  // namespace

struct RtfWords::Table {
  using Reader = RtfReader;
  using Target = RtfReader::Target;
  using Underline = RtfCharacters::Underline;
  using Script = RtfCharacters::Script;
  using Capitals = RtfCharacters::Capitals;
  using Alignment = RtfParagraph::Alignment;
  using Direction = RtfParagraph::Direction;
  using Family = RtfFont::Family;

  Table() {
    addDestinations();
    addCharacters();
    addFormats();
    addParagraphs();
    addTables();
    addHead();
    addPictures();
  }

  std::unordered_map<std::string_view, Handler> words;

 private:
  static RtfCharacters& format(Reader& reader) { return reader.state().characters; }
  static RtfParagraph& paragraph(Reader& reader) { return reader.state().paragraph; }

  static bool isText(const Reader& reader) { return reader.state().target == Target::TEXT; }

  void add(std::initializer_list<Word> list) {
    for (const auto& [word, apply] : list) words[word] = {apply, false};
  }

  // A word that only writes a character.
  template <char16_t CHARACTER>
  static void write(Reader& reader, Number) {
    reader.characters(QChar(CHARACTER));
  }

  template <Target TARGET>
  static void begin(Reader& reader, Number) {
    if (reader.m_mayBegin) reader.begin(TARGET);
  }

  static void skip(Reader& reader, Number) {
    if (reader.m_mayBegin) reader.skipGroup();
  }

  // Only at the beginning of a group: what else stands there is not for people.
  void addDestinations() {
    for (const auto& [word, apply] :
         {Word("fonttbl", begin<Target::FONTS>), Word("colortbl", begin<Target::COLORS>),
          Word("fldinst", begin<Target::FIELD>), Word("pict", begin<Target::PICTURE>),
          Word("NeXTGraphic", begin<Target::ATTACHMENT>), Word("shppict", [](Reader&, Number) {}),
          Word("fldrslt", [](Reader& reader, Number) { reader.beginLink(); })})
      words[word] = {apply, true};
    for (const char* const word :
         {"aftncn",  "aftnsep",  "aftnsepc", "annotation", "atnid",      "comment",      "footer",     "footerf",
          "footerl", "footerr",  "footnote", "ftncn",      "ftnsep",     "ftnsepc",      "header",     "headerf",
          "headerl", "headerr",  "info",     "keywords",   "listtable",  "nonesttables", "nonshppict", "operator",
          "pgptbl",  "private1", "revtbl",   "rxe",        "stylesheet", "subject",      "tc",         "template",
          "title",   "txe",      "xe",       "objdata",    "datafield"})
      words[word] = {skip, true};
  }

  void addCharacters() {
    add({{"tab", write<u'\t'>},
         {"line", write<u'\u2028'>},
         {"emdash", write<u'\u2014'>},
         {"endash", write<u'\u2013'>},
         {"bullet", write<u'\u2022'>},
         {"lquote", write<u'\u2018'>},
         {"rquote", write<u'\u2019'>},
         {"ldblquote", write<u'\u201C'>},
         {"rdblquote", write<u'\u201D'>},
         {"emspace", write<u'\u2003'>},
         {"enspace", write<u'\u2002'>},
         {"qmspace", write<u'\u2005'>},
         {"ltrmark", write<u'\u200E'>},
         {"rtlmark", write<u'\u200F'>},
         {"zwj", write<u'\u200D'>},
         {"zwnj", write<u'\u200C'>},
         {"zwbo", write<u'\u200B'>},
         {"zwnbo", write<u'\u2060'>},
         {"nestcell", write<u'\t'>}});
    const Apply endParagraph = [](Reader& reader, Number) {
      if (isText(reader)) reader.endParagraph();
    };
    add({{"par", endParagraph}, {"sect", endParagraph}, {"page", endParagraph}, {"nestrow", endParagraph}});
    const Apply beginMarker = [](Reader& reader, Number) { reader.state().isMarker = true; };
    add({{"listtext", beginMarker}, {"pntext", beginMarker}});
    add({{"u", [](Reader& reader, Number code) { reader.unicode(code.value_or(0)); }},
         {"uc", [](Reader& reader, Number count) { reader.state().fallback = byte(count); }}});
  }

  template <Underline UNDERLINE>
  static void underline(Reader& reader, Number number) {
    format(reader).underline = isOn(number) ? UNDERLINE : Underline::NONE;
  }

  template <Script SCRIPT>
  static void script(Reader& reader, Number number) {
    format(reader).script = isOn(number) ? SCRIPT : Script::NORMAL;
  }

  template <Capitals CAPITALS>
  static void capitals(Reader& reader, Number number) {
    format(reader).capitals = isOn(number) ? CAPITALS : Capitals::NORMAL;
  }

  template <bool RtfCharacters::*MEMBER>
  static void toggle(Reader& reader, Number number) {
    format(reader).*MEMBER = isOn(number);
  }

  template <int RtfCharacters::*MEMBER>
  static void set(Reader& reader, Number number) {
    format(reader).*MEMBER = std::max(number.value_or(0), 0);
  }

  void addFormats() {
    add({{"b", toggle<&RtfCharacters::isBold>},
         {"i", toggle<&RtfCharacters::isItalic>},
         {"strike", toggle<&RtfCharacters::isStruckOut>},
         {"striked", toggle<&RtfCharacters::isStruckOut>},
         {"v", toggle<&RtfCharacters::isHidden>},
         {"cf", set<&RtfCharacters::color>},
         {"cb", set<&RtfCharacters::background>},
         {"chcbpat", set<&RtfCharacters::background>},
         {"highlight", set<&RtfCharacters::background>},
         {"super", script<Script::SUPER>},
         {"sub", script<Script::SUB>},
         {"nosupersub", script<Script::NORMAL>},
         {"up", script<Script::SUPER>},
         {"dn", script<Script::SUB>},
         {"caps", capitals<Capitals::ALL>},
         {"scaps", capitals<Capitals::SMALL>},
         {"ul", underline<Underline::LINE>},
         {"uldb", underline<Underline::LINE>},
         {"ulw", underline<Underline::LINE>},
         {"ulth", underline<Underline::LINE>},
         {"ulwave", underline<Underline::WAVE>},
         {"uldash", underline<Underline::DASHES>},
         {"uldashd", underline<Underline::DASHES>},
         {"uldashdd", underline<Underline::DASHES>},
         {"uld", underline<Underline::DOTS>},
         {"ulnone", underline<Underline::NONE>}});
    add({{"fs", [](Reader& reader,
                   Number size) { format(reader).halfPoints = std::clamp(size.value_or(24), 1, MAX_HALF_POINTS); }},
         {"plain",
          [](Reader& reader, Number) {
            const int link = format(reader).link;
            format(reader) = {};
            format(reader).link = link;
          }},
         {"f", [](Reader& reader, Number font) {
            (reader.state().target == Target::FONTS ? reader.m_font : format(reader).font) = font.value_or(0);
          }}});
  }

  template <int RtfParagraph::*MEMBER>
  static void measure(Reader& reader, Number number) {
    paragraph(reader).*MEMBER = length(number);
  }

  template <int RtfParagraph::*MEMBER>
  static void space(Reader& reader, Number number) {
    paragraph(reader).*MEMBER = std::max(length(number), 0);
  }

  template <Alignment ALIGNMENT>
  static void align(Reader& reader, Number) {
    paragraph(reader).alignment = ALIGNMENT;
  }

  void addParagraphs() {
    add({{"pard", [](Reader& reader, Number) { paragraph(reader) = {}; }},
         {"ql", align<Alignment::LEFT>},
         {"qr", align<Alignment::RIGHT>},
         {"qc", align<Alignment::CENTRE>},
         {"qj", align<Alignment::JUSTIFIED>},
         {"li", measure<&RtfParagraph::left>},
         {"ri", measure<&RtfParagraph::right>},
         {"fi", measure<&RtfParagraph::first>},
         {"sb", space<&RtfParagraph::above>},
         {"sa", space<&RtfParagraph::below>},
         {"sl", measure<&RtfParagraph::lineHeight>},
         {"slmult", [](Reader& reader, Number number) { paragraph(reader).isLineMultiple = number == 1; }},
         {"rtlpar", [](Reader& reader, Number) { paragraph(reader).direction = Direction::RIGHT_TO_LEFT; }},
         {"ltrpar", [](Reader& reader, Number) { paragraph(reader).direction = Direction::OF_TEXT; }},
         {"intbl", [](Reader& reader, Number) { paragraph(reader).isInTable = true; }},
         {"outlinelevel",
          [](Reader& reader, Number level) {
            const bool isHeading = level && *level >= 0 && *level <= 5;
            paragraph(reader).heading = isHeading ? *level + 1 : 0;
          }},
         {"tx", [](Reader& reader, Number position) {
            if (paragraph(reader).tabs.size() < MAX_TABS) paragraph(reader).tabs.push_back(length(position));
          }}});
  }

  static void cellBorder(Reader& reader, Number) { reader.m_isCellBorder = true; }
  static void otherBorder(Reader& reader, Number) { reader.m_isCellBorder = false; }
  static void visible(Reader& reader, Number) { reader.m_row.hasBorders |= reader.m_isCellBorder; }

  void addTables() {
    add({{"trowd",
          [](Reader& reader, Number) {
            reader.m_row = {};
            reader.m_cell = {};
          }},
         {"trleft", [](Reader& reader, Number left) { reader.m_row.left = length(left); }},
         {"clcbpat", [](Reader& reader, Number color) { reader.m_cell.background = color.value_or(0); }},
         {"cellx",
          [](Reader& reader, Number edge) {
            reader.m_cell.edge = length(edge);
            if (reader.m_row.cells.size() < MAX_CELLS) reader.m_row.cells.push_back(reader.m_cell);
            reader.m_cell = {};
            reader.m_output.setRow(reader.m_row);
          }},
         {"cell",
          [](Reader& reader, Number) {
            if (isText(reader)) reader.m_output.endCell(paragraph(reader));
          }},
         {"row", [](Reader& reader, Number) {
            if (isText(reader)) reader.m_output.endRow();
          }}});
    for (const char* const word :
         {"clbrdrt", "clbrdrb", "clbrdrl", "clbrdrr", "trbrdrt", "trbrdrb", "trbrdrl", "trbrdrr", "trbrdrh", "trbrdrv"})
      words[word] = {cellBorder, false};
    for (const char* const word : {"brdrt", "brdrb", "brdrl", "brdrr", "box"}) words[word] = {otherBorder, false};
    for (const char* const word : {"brdrs", "brdrth", "brdrdb", "brdrdot", "brdrdash", "brdrhair", "brdrtriple"})
      words[word] = {visible, false};
  }

  template <int CODE_PAGE>
  static void setPage(Reader& reader, Number) {
    reader.m_codePage = CODE_PAGE;
  }

  template <Family FAMILY>
  static void family(Reader& reader, Number) {
    if (reader.state().target == Target::FONTS) reader.describedFont().family = FAMILY;
  }

  template <void (QColor::*SET)(int)>
  static void shade(Reader& reader, Number number) {
    if (reader.state().target != Target::COLORS) return;
    if (!reader.m_color.isValid()) reader.m_color = Qt::black;
    (reader.m_color.*SET)(byte(number));
  }

  void addHead() {
    add({{"ansi", setPage<RtfCodePages::WESTERN>},
         {"mac", setPage<10000>},
         {"pc", setPage<437>},
         {"pca", setPage<850>},
         {"ansicpg", [](Reader& reader, Number page) { reader.m_codePage = page.value_or(RtfCodePages::WESTERN); }},
         {"deff", [](Reader& reader, Number font) { reader.m_tables.ordinaryFont = font.value_or(0); }},
         {"froman", family<Family::SERIF>},
         {"fswiss", family<Family::SANS>},
         {"fmodern", family<Family::FIXED>},
         {"fcharset",
          [](Reader& reader, Number charset) {
            if (reader.state().target == Target::FONTS)
              reader.describedFont().codePage = RtfCodePages::ofCharset(charset.value_or(1));
          }},
         {"cpg",
          [](Reader& reader, Number page) {
            if (reader.state().target == Target::FONTS) reader.describedFont().codePage = page;
          }},
         {"red", shade<&QColor::setRed>},
         {"green", shade<&QColor::setGreen>},
         {"blue", shade<&QColor::setBlue>}});
  }

  template <int RtfPicture::*MEMBER>
  static void side(Reader& reader, Number number) {
    reader.m_picture.*MEMBER = std::max(length(number), 0);
    reader.m_isFileNameOver = true;
  }

  void addPictures() {
    add({{"pngblip", [](Reader& reader, Number) { reader.m_picture.format = "png"; }},
         {"jpegblip", [](Reader& reader, Number) { reader.m_picture.format = "jpeg"; }},
         {"picwgoal", side<&RtfPicture::width>},
         {"pichgoal", side<&RtfPicture::height>},
         {"width", side<&RtfPicture::width>},
         {"height", side<&RtfPicture::height>},
         {"picscalex", side<&RtfPicture::widthPercent>},
         {"picscaley", side<&RtfPicture::heightPercent>}});
  }
};

const RtfWords::Handler* RtfWords::find(std::string_view word) {
  static const Table table;
  const auto found = table.words.find(word);
  return found == table.words.end() ? nullptr : &found->second;
}

}  // namespace corvane
