#pragma once

#include <QByteArray>
#include <QPointer>
#include <QString>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextTable>

#include "corvane/ui/rtf/RtfState.h"

namespace corvane {

/// The property of characters whose colour may have to be changed for the paper that they are shown on, as the document
/// gives them none: the colour that they are to have, invalid for that of links.
inline constexpr int RICH_TEXT_INK = QTextFormat::UserProperty + 1;

/// Writes into a text document what the reader of rich text finds, in the order of the text.
class RtfDocument {
 public:
  /// Tables and document must outlive this; the document must be empty.
  RtfDocument(QTextDocument& document, const RtfTables& tables);

  void text(const QString& text, const RtfCharacters& characters, bool isInTable);
  void picture(const QByteArray& bytes, const RtfPicture& picture, const RtfCharacters& characters, bool isInTable);

  /// Ends a paragraph, whose layout becomes known with it.
  void endParagraph(const RtfParagraph& paragraph);
  /// Ends a cell with its last paragraph; beginning one is done by what it holds.
  void endCell(const RtfParagraph& paragraph);
  void endRow();
  /// What the next table's columns are like, and the cells of the next row.
  void setRow(const RtfRow& row) { m_row = row; }

  /// Ends the document with its last paragraph.
  void finish(const RtfParagraph& paragraph);

 private:
  void flush();
  void place(bool isInTable);
  void beginRow();
  void enterCell();
  void leaveTable();
  void endTable();
  void layOut(const RtfParagraph& paragraph);
  const QTextCharFormat& formatOf(const RtfCharacters& characters);
  QTextCharFormat makeFormat(const RtfCharacters& characters) const;
  QColor color(int number) const;

  QTextDocument& m_document;
  const RtfTables& m_tables;
  QTextCursor m_cursor;

  QString m_text;  // not yet in the document
  RtfCharacters m_characters;
  QTextCharFormat m_format;  // that of m_formatted
  std::optional<RtfCharacters> m_formatted;
  std::optional<RtfParagraph> m_laidOut;  // how the present paragraph is already

  RtfRow m_row;
  QTextTable* m_table = nullptr;
  int m_rows = 0;  // of the table; more are kept in reserve
  int m_column = 0;
  int m_cells = 0;
  bool m_isInRow = false;
  bool m_isPlainRow = false;  // of text with tabs, as there are too many cells
  bool m_isInCell = false;
  bool m_isEmptyParagraph = false;  // the present one, which follows another one

  int m_pictures = 0;
  qint64 m_pixels = 0;
};

}  // namespace corvane
