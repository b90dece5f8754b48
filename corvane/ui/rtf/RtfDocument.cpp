#include "corvane/ui/rtf/RtfDocument.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QImageReader>
#include <QTextBlock>
#include <QTextBlockFormat>
#include <QTextOption>
#include <QTextTableFormat>
#include <QUrl>
#include <algorithm>
#include <utility>

namespace corvane {

namespace {

constexpr double TWIPS = 15;               // twentieths of a point in a pixel of 1/96 inch, which documents measure in
constexpr int LINE = 240;                  // a font's own line height
constexpr int DEFAULT_TAB = 720;           // half an inch
constexpr int PAGE_WIDTH = 9360;           // of text: 6.5 inches
constexpr int ALMOST_BLACK = 0x40;         // as bright as ordinary text may be
constexpr int MAX_COLUMNS = 63;            // as many as word processors make
constexpr int MAX_CELLS = 5'000;           // of all tables: they are laid out whole, which takes the toolkit a second
constexpr int MAX_PICTURE_SIDE = 8192;     // pixels
constexpr qint64 MAX_PIXELS = 32'000'000;  // of all pictures together: 128 MB

QColor inkOn(const QColor& paper) {
  return qGray(paper.rgb()) < 128 ? Qt::white : Qt::black;
}

QFont::StyleHint styleHint(RtfFont::Family family) {
  switch (family) {
    case RtfFont::Family::SERIF:
      return QFont::Serif;
    case RtfFont::Family::SANS:
      return QFont::SansSerif;
    case RtfFont::Family::FIXED:
      return QFont::TypeWriter;
    default:
      return QFont::AnyStyle;
  }
}

QTextCharFormat::UnderlineStyle underlineStyle(RtfCharacters::Underline underline) {
  switch (underline) {
    case RtfCharacters::Underline::LINE:
      return QTextCharFormat::SingleUnderline;
    case RtfCharacters::Underline::WAVE:
      return QTextCharFormat::WaveUnderline;
    case RtfCharacters::Underline::DASHES:
      return QTextCharFormat::DashUnderline;
    case RtfCharacters::Underline::DOTS:
      return QTextCharFormat::DotLine;
    default:
      return QTextCharFormat::NoUnderline;
  }
}

Qt::Alignment alignmentOf(RtfParagraph::Alignment alignment) {
  switch (alignment) {
    case RtfParagraph::Alignment::LEFT:
      return Qt::AlignLeft | Qt::AlignAbsolute;
    case RtfParagraph::Alignment::CENTRE:
      return Qt::AlignHCenter;
    case RtfParagraph::Alignment::RIGHT:
      return Qt::AlignRight | Qt::AlignAbsolute;
    case RtfParagraph::Alignment::JUSTIFIED:
      return Qt::AlignJustify;
    default:
      return Qt::AlignLeading;
  }
}

// Tabs count from where the line begins. The indent of the other lines is one, as lists expect.
QList<QTextOption::Tab> tabsOf(const RtfParagraph& paragraph) {
  const int begin = paragraph.left + paragraph.first;
  std::vector<int> positions;
  for (const int tab : paragraph.tabs) positions.push_back(tab - begin);
  if (paragraph.first < 0) positions.push_back(-paragraph.first);
  std::ranges::sort(positions);
  const auto duplicates = std::ranges::unique(positions);
  positions.erase(duplicates.begin(), duplicates.end());
  QList<QTextOption::Tab> tabs;
  for (const int position : positions)
    if (position > 0) tabs.append(QTextOption::Tab(position / TWIPS, QTextOption::LeftTab));
  return tabs;
}

void setLineHeight(QTextBlockFormat& format, const RtfParagraph& paragraph) {
  if (paragraph.lineHeight == 0) return;
  const double height = std::abs(paragraph.lineHeight);
  if (paragraph.isLineMultiple)
    format.setLineHeight(100 * height / LINE, QTextBlockFormat::ProportionalHeight);
  else
    format.setLineHeight(height / TWIPS, QTextBlockFormat::MinimumHeight);
}

QTextBlockFormat blockFormat(const RtfParagraph& paragraph) {
  QTextBlockFormat format;
  if (paragraph.alignment != RtfParagraph::Alignment::NATURAL) format.setAlignment(alignmentOf(paragraph.alignment));
  if (paragraph.direction == RtfParagraph::Direction::RIGHT_TO_LEFT) format.setLayoutDirection(Qt::RightToLeft);
  const bool isMirrored = paragraph.direction == RtfParagraph::Direction::RIGHT_TO_LEFT;
  format.setLeftMargin((isMirrored ? paragraph.right : paragraph.left) / TWIPS);
  format.setRightMargin((isMirrored ? paragraph.left : paragraph.right) / TWIPS);
  format.setTextIndent(paragraph.first / TWIPS);
  format.setTopMargin(paragraph.above / TWIPS);
  format.setBottomMargin(paragraph.below / TWIPS);
  format.setHeadingLevel(paragraph.heading);
  setLineHeight(format, paragraph);
  if (const auto tabs = tabsOf(paragraph); !tabs.isEmpty()) format.setTabPositions(tabs);
  return format;
}

QTextTableFormat tableFormat(const RtfRow& row) {
  QTextTableFormat format;
  format.setCellSpacing(0);
  format.setCellPadding(4);
  format.setBorder(row.hasBorders ? 1 : 0);
  format.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
  format.setBorderCollapse(true);
  const int width = row.cells.empty() ? 0 : row.cells.back().edge - row.left;
  if (width <= 0) return format;
  // Wide tables follow the window.
  format.setWidth(width < PAGE_WIDTH / 2
                      ? QTextLength(QTextLength::FixedLength, width / TWIPS)
                      : QTextLength(QTextLength::PercentageLength, std::min(100.0 * width / PAGE_WIDTH, 100.0)));
  QList<QTextLength> columns;
  int left = row.left;
  for (const RtfRow::Cell& cell : row.cells) {
    columns.append(QTextLength(QTextLength::PercentageLength, std::max(100.0 * (cell.edge - left) / width, 1.0)));
    left = cell.edge;
  }
  format.setColumnWidthConstraints(columns);
  return format;
}

// How large a picture appears, in pixels of 1/96 inch.
QSizeF sizeOf(const RtfPicture& picture, const QSize& pixels) {
  const auto side = [](int wanted, int percent, int own) {
    return std::clamp((wanted > 0 ? wanted / TWIPS : own) * percent / 100, 1.0, double{MAX_PICTURE_SIDE});
  };
  return {side(picture.width, picture.widthPercent, pixels.width()),
          side(picture.height, picture.heightPercent, pixels.height())};
}

}  // namespace

RtfDocument::RtfDocument(QTextDocument& document, const RtfTables& tables)
    : m_document(document), m_tables(tables), m_cursor(&document) {
  m_document.setUndoRedoEnabled(false);
  QTextOption option = m_document.defaultTextOption();
  option.setTabStopDistance(DEFAULT_TAB / TWIPS);
  m_document.setDefaultTextOption(option);
  m_cursor.beginEditBlock();
}

void RtfDocument::text(const QString& text, const RtfCharacters& characters, bool isInTable) {
  if (characters.isHidden || text.isEmpty()) return;
  if (!(characters == m_characters)) flush();
  place(isInTable);
  m_characters = characters;
  m_text += text;
}

void RtfDocument::flush() {
  // The other half of the last character may follow in another format.
  const QString half = !m_text.isEmpty() && m_text.back().isHighSurrogate() ? m_text.right(1) : QString();
  m_text.chop(half.size());
  if (!m_text.isEmpty()) {
    m_cursor.insertText(QString::fromUtf8(m_text.toUtf8()), formatOf(m_characters));  // without other halves
    m_isEmptyParagraph = false;
  }
  m_text = half;
}

void RtfDocument::picture(const QByteArray& bytes, const RtfPicture& picture, const RtfCharacters& characters,
                          bool isInTable) {
  if (!picture.format || characters.isHidden) return;
  QByteArray copy(bytes);
  QBuffer buffer(&copy);
  QImageReader reader(&buffer, picture.format);
  reader.setAutoTransform(true);
  const QSize size = reader.size();
  const qint64 pixels = qint64{size.width()} * size.height();
  if (std::max(size.width(), size.height()) > MAX_PICTURE_SIDE || m_pixels + pixels > MAX_PIXELS) return;
  m_pixels += pixels;  // broken ones take their time, too
  const QImage image = reader.read();
  if (image.isNull()) return;
  flush();
  place(isInTable);
  QTextImageFormat format;
  format.merge(formatOf(characters));
  format.setName(QStringLiteral("picture:%1").arg(++m_pictures));
  const QSizeF shown = sizeOf(picture, image.size());
  format.setWidth(shown.width());
  format.setHeight(shown.height());
  m_document.addResource(QTextDocument::ImageResource, QUrl(format.name()), image);
  m_cursor.insertImage(format);
  m_isEmptyParagraph = false;
}

void RtfDocument::endParagraph(const RtfParagraph& paragraph) {
  flush();
  place(paragraph.isInTable);
  layOut(paragraph);
  m_cursor.insertBlock();  // like this one
  m_isEmptyParagraph = true;
}

void RtfDocument::layOut(const RtfParagraph& paragraph) {
  if (m_laidOut == paragraph) return;
  m_cursor.setBlockFormat(blockFormat(paragraph));
  m_laidOut = paragraph;
}

void RtfDocument::endCell(const RtfParagraph& paragraph) {
  if (!m_isInRow && m_cells >= MAX_CELLS) {
    place(true);
    m_text += u'\t';
    m_isPlainRow = true;
    return;
  }
  flush();
  place(true);
  layOut(paragraph);
  m_isInCell = false;
  ++m_column;
}

void RtfDocument::endRow() {
  flush();
  if (std::exchange(m_isPlainRow, false)) m_cursor.insertBlock();
  // The last cell of a row that has fewer than others reaches to the end.
  if (m_isInRow && m_column > 0 && m_column < m_table->columns())
    m_table->mergeCells(m_rows - 1, m_column - 1, 1, m_table->columns() - m_column + 1);
  m_isInRow = m_isInCell = false;
}

// What comes next belongs into a cell or not.
void RtfDocument::place(bool isInTable) {
  if (isInTable && !m_isInRow && m_cells < MAX_CELLS) beginRow();
  if (m_isInRow && !m_isInCell) enterCell();
  if (!m_isInRow && m_table) leaveTable();
}

void RtfDocument::beginRow() {
  const int columns = std::clamp(static_cast<int>(m_row.cells.size()), 1, MAX_COLUMNS);
  if (m_table) {
    // One row takes as long as many, and the table is checked as a whole: without this, time would grow by its square.
    if (++m_rows > m_table->rows()) m_table->appendRows(m_table->rows());
    if (columns > m_table->columns()) m_table->appendColumns(columns - m_table->columns());
  } else {
    m_table = m_cursor.insertTable(1, columns, tableFormat(m_row));
    m_rows = 1;
  }
  m_cells += columns;
  m_isInRow = true;
  m_column = 0;
}

void RtfDocument::enterCell() {
  if (m_column >= MAX_COLUMNS) {  // the rest stays in the last cell
    m_column = MAX_COLUMNS - 1;
    m_cursor.insertBlock();
  } else {
    if (m_column >= m_table->columns()) m_table->appendColumns(1);
    QTextTableCell cell = m_table->cellAt(m_rows - 1, m_column);
    const auto number = static_cast<std::size_t>(m_column);
    QTextCharFormat format;
    if (number < m_row.cells.size() && color(m_row.cells[number].background).isValid())
      format.setBackground(color(m_row.cells[number].background));
    cell.setFormat(format);
    m_cursor = cell.firstCursorPosition();
  }
  m_isInCell = true;
  m_laidOut.reset();
  m_formatted.reset();
}

void RtfDocument::leaveTable() {
  endTable();
  m_cursor.setPosition(m_table->lastPosition() + 1);
  m_table = nullptr;
  m_laidOut.reset();
  m_formatted.reset();
}

void RtfDocument::endTable() {
  if (m_rows < m_table->rows()) m_table->removeRows(m_rows, m_table->rows() - m_rows);
}

const QTextCharFormat& RtfDocument::formatOf(const RtfCharacters& characters) {
  if (!(m_formatted == characters)) {
    m_format = makeFormat(characters);
    m_formatted = characters;
  }
  return m_format;
}

QTextCharFormat RtfDocument::makeFormat(const RtfCharacters& characters) const {
  QTextCharFormat format;
  const auto font = m_tables.fonts.find(characters.font < 0 ? m_tables.ordinaryFont : characters.font);
  if (font != m_tables.fonts.end() && !font->second.name.isEmpty()) {
    format.setFontFamilies({font->second.name});
    format.setFontStyleHint(styleHint(font->second.family));
  }
  format.setFontPointSize(characters.halfPoints / 2.0);
  if (characters.isBold) format.setFontWeight(QFont::Bold);
  if (characters.isItalic) format.setFontItalic(true);
  if (characters.isStruckOut) format.setFontStrikeOut(true);
  if (characters.underline != RtfCharacters::Underline::NONE)
    format.setUnderlineStyle(underlineStyle(characters.underline));
  if (characters.script != RtfCharacters::Script::NORMAL)
    format.setVerticalAlignment(characters.script == RtfCharacters::Script::SUPER ? QTextCharFormat::AlignSuperScript
                                                                                  : QTextCharFormat::AlignSubScript);
  if (characters.capitals != RtfCharacters::Capitals::NORMAL)
    format.setFontCapitalization(characters.capitals == RtfCharacters::Capitals::ALL ? QFont::AllUppercase
                                                                                     : QFont::SmallCaps);
  if (characters.link >= 0) {
    format.setAnchor(true);
    format.setFontUnderline(true);
    format.setAnchorHref(m_tables.links[static_cast<std::size_t>(characters.link)]);
  }

  const QColor ink = color(characters.color);
  const bool isOrdinary = !ink.isValid() || std::max({ink.red(), ink.green(), ink.blue()}) < ALMOST_BLACK;
  QColor paper = color(characters.background);
  if (paper.isValid()) format.setBackground(paper);
  if (!paper.isValid() && m_isInCell && m_table) {
    const QTextCharFormat cell = m_table->cellAt(m_cursor).format();
    if (cell.hasProperty(QTextFormat::BackgroundBrush)) paper = cell.background().color();
  }
  if (!isOrdinary)
    format.setForeground(ink);
  else if (paper.isValid())
    format.setForeground(inkOn(paper));
  if (!paper.isValid() && (!isOrdinary || format.isAnchor()))
    format.setProperty(RICH_TEXT_INK, isOrdinary ? QColor() : ink);
  return format;
}

QColor RtfDocument::color(int number) const {
  const auto index = static_cast<std::size_t>(number);
  return number > 0 && index < m_tables.colors.size() ? m_tables.colors[index] : QColor();
}

void RtfDocument::finish(const RtfParagraph& paragraph) {
  flush();
  if (!m_text.isEmpty()) {  // half a character
    m_text = QChar(QChar::ReplacementCharacter);
    flush();
  }
  if (m_table) endTable();
  if (!m_table && m_isEmptyParagraph)
    m_cursor.deletePreviousChar();  // the last paragraph's end is the document's
  else if (!m_table || m_isInCell)
    layOut(paragraph);
  m_cursor.endEditBlock();
  m_document.setModified(false);
}

}  // namespace corvane
