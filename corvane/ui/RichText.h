#pragma once

#include <QTextDocument>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "corvane/platform/Export.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// Reads a document of rich text: a file (.rtf), or a folder with its pictures beside the text in TXT.rtf (.rtfd). Show
/// it in a RichTextView.
///
/// - Characters: Unicode, and the code pages of Windows, DOS and the Mac; fonts, sizes, bold, italic, underlined,
/// struck
///   out, raised, lowered, capitals, colours. Black, and what is almost black, is the colour of ordinary text, which
///   the view chooses.
/// - Paragraphs: alignment, indents, spaces, tabs, headings, text from right to left. The marks and numbers of lists
/// are
///   text.
/// - Links to addresses of http, https and mailto. Others stay as text.
/// - Tables: columns, borders, backgrounds. A table within a cell becomes lines with tabs, and so does what is beyond
///   5,000 cells.
/// - Pictures, PNG and JPEG: in the text, or by a plain name in the folder; each up to 8,192 pixels high and wide,
///   32 million altogether.
///
/// Everything else is left out: headers, notes, drawings, hidden text. Of a damaged document the result is what could
/// be read.
///
/// An Error if there is nothing to read: no file, one that is no rich text, or one larger than MAX_RICH_TEXT. Any
/// thread; the document belongs to the calling one.
CORVANE_API Result<std::unique_ptr<QTextDocument>> readRichText(const std::string& path);

/// Reads rich text from memory, without attachments. An Error only if it is none.
CORVANE_API Result<std::unique_ptr<QTextDocument>> richText(std::string_view bytes);

/// In bytes, as for each attachment.
inline constexpr std::int64_t MAX_RICH_TEXT = 64'000'000;

}  // namespace corvane
