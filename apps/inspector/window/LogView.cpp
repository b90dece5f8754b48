#include "apps/inspector/window/LogView.h"

#include <QContextMenuEvent>
#include <QFontDatabase>
#include <QMenu>
#include <QScrollBar>
#include <QTextBlock>
#include <algorithm>
#include <memory>
#include <utility>

#include "apps/inspector/window/Shown.h"

namespace corvane::inspector {

namespace {

constexpr std::size_t SLICE = std::size_t{64} << 10U;  // bytes that are taken at once: some milliseconds

}  // namespace

LogView::LogView(QWidget* parent) : QPlainTextEdit(parent) {
  setReadOnly(true);
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  setUndoRedoEnabled(false);
  setLineWrapMode(NoWrap);
  setFrameShape(QFrame::NoFrame);
  setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  setLayoutDirection(Qt::LeftToRight);  // times and names come first in any language
  QTextOption option = document()->defaultTextOption();
  option.setTextDirection(Qt::LeftToRight);
  document()->setDefaultTextOption(option);
  m_next.setSingleShot(true);
  connect(&m_next, &QTimer::timeout, this, &LogView::takeSome);
  connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &LogView::scrolled);
}

void LogView::append(std::string_view text) {
  const bool isSilent = text.empty() && m_waiting.empty() && !m_open.empty();
  m_waiting.append(isSilent ? "\n" : text);
  // What will not be kept need not be taken.
  if (m_waiting.size() > MAX_CHARACTERS) {
    m_waiting.erase(0, m_waiting.size() - MAX_CHARACTERS);
    m_waiting.erase(0, m_waiting.find('\n') + 1);
  }
  if (!m_next.isActive()) takeSome();
}

void LogView::takeSome() {
  const std::string_view all = m_waiting;
  const std::size_t cut = all.rfind('\n', SLICE);
  std::string_view text = all.substr(0, all.size() <= SLICE || cut == all.npos ? SLICE : cut + 1);
  const std::size_t taken = text.size();
  QStringList fresh;
  for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n')) {
    takeLine(m_open.empty() ? text.substr(0, end) : m_open.append(text.substr(0, end)), fresh);
    m_open.clear();
    text.remove_prefix(end + 1);
  }
  m_open.append(text.substr(0, MAX_LINE + 1 - std::min(m_open.size(), MAX_LINE + 1)));
  m_waiting.erase(0, taken);
  // Of many new lines the first may have to go again before they were ever shown.
  const qsizetype dropped = dropOld();
  const qsizetype unseen = std::max<qsizetype>(0, dropped - static_cast<qsizetype>(m_shown));
  fresh.remove(0, unseen);
  if (!fresh.isEmpty() || dropped > 0) insert(fresh, dropped - unseen);
  if (!m_waiting.empty()) m_next.start();
}

void LogView::takeLine(std::string_view line, QStringList& fresh) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  QString text = shown(line.substr(0, MAX_LINE));
  if (line.size() > MAX_LINE) text += u'…';
  m_characters += text.size();
  if (isShown(text)) fresh.append(text);
  m_lines.push_back(std::move(text));
}

// Returns how many of them pass the filter.
qsizetype LogView::dropOld() {
  qsizetype dropped = 0;
  while (m_lines.size() > MAX_LINES || m_characters > MAX_CHARACTERS) {
    if (isShown(m_lines.front())) ++dropped;
    m_characters -= m_lines.front().size();
    m_lines.pop_front();
  }
  return dropped;
}

// Appends lines to the document, and removes as many as were dropped at its beginning.
void LogView::insert(const QStringList& fresh, qsizetype dropped) {
  m_isInserting = true;
  const QTextBlock first = firstVisibleBlock();
  const bool isGone = first.blockNumber() < dropped;
  const int column = horizontalScrollBar()->value();
  QTextCursor cursor(document());
  cursor.beginEditBlock();
  cursor.movePosition(QTextCursor::End);
  if (!fresh.isEmpty()) cursor.insertText((m_shown > 0 ? QStringLiteral("\n") : QString()) + fresh.join(u'\n'));
  m_shown += static_cast<std::size_t>(fresh.size());
  if (dropped > 0) {
    cursor.movePosition(QTextCursor::Start);
    if (dropped < static_cast<qsizetype>(m_shown))
      cursor.setPosition(document()->findBlockByNumber(static_cast<int>(dropped)).position(), QTextCursor::KeepAnchor);
    else
      cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    cursor.removeSelectedText();
    m_shown -= static_cast<std::size_t>(dropped);
  }
  cursor.endEditBlock();
  if (m_isFollowing)
    scrollToEnd();
  else
    verticalScrollBar()->setValue(isGone ? 0 : first.firstLineNumber());
  horizontalScrollBar()->setValue(column);
  m_isInserting = false;
  markHits();
}

void LogView::clearLines() {
  m_next.stop();
  m_waiting.clear();
  m_lines.clear();
  m_open.clear();
  m_characters = 0;
  m_shown = 0;
  clear();
}

void LogView::setFilter(const QString& filter) {
  m_filter = filter;
  QStringList all;
  for (const QString& line : m_lines)
    if (isShown(line)) all.append(line);
  m_isInserting = true;
  setPlainText(all.join(u'\n'));
  m_shown = static_cast<std::size_t>(all.size());
  if (m_isFollowing) scrollToEnd();
  m_isInserting = false;
  markHits();
}

void LogView::setSearched(const QString& text) {
  m_searched = text;
  markHits();
}

bool LogView::findNext(bool backward) {
  if (m_searched.isEmpty()) return false;
  const auto flags = backward ? QTextDocument::FindBackward : QTextDocument::FindFlags();
  QTextCursor found = document()->find(m_searched, textCursor(), flags);
  if (found.isNull()) found = document()->find(m_searched, backward ? document()->characterCount() - 1 : 0, flags);
  if (found.isNull()) return false;
  setFollowing(false);
  setTextCursor(found);
  centerCursor();
  markHits();
  return true;
}

void LogView::setFollowing(bool isFollowing) {
  const bool changes = std::exchange(m_isFollowing, isFollowing) != isFollowing;
  if (isFollowing) scrollToEnd();
  if (changes) Q_EMIT followingChanged(isFollowing);
}

void LogView::scrolled() {
  if (!m_isInserting) {
    const bool isAtEnd = verticalScrollBar()->value() == verticalScrollBar()->maximum();
    if (std::exchange(m_isFollowing, isAtEnd) != isAtEnd) Q_EMIT followingChanged(isAtEnd);
  }
  markHits();
}

void LogView::scrollToEnd() {
  const bool isNested = std::exchange(m_isInserting, true);
  verticalScrollBar()->setValue(verticalScrollBar()->maximum());
  m_isInserting = isNested;
}

void LogView::resizeEvent(QResizeEvent* event) {
  const bool wasFollowing = m_isFollowing;
  m_isInserting = true;
  QPlainTextEdit::resizeEvent(event);
  if (wasFollowing) scrollToEnd();
  m_isInserting = false;
  markHits();
}

void LogView::changeEvent(QEvent* event) {
  QPlainTextEdit::changeEvent(event);
  if (event->type() == QEvent::PaletteChange) markHits();
}

// Only what is in view is marked: that costs the same however long the text is.
void LogView::markHits() {
  QList<QTextEdit::ExtraSelection> marks;
  QTextCharFormat format;
  format.setBackground(QColor(255, 214, 64));
  format.setForeground(Qt::black);
  const int bottom = viewport()->height();
  if (!m_searched.isEmpty())
    for (QTextBlock block = firstVisibleBlock(); block.isValid(); block = block.next()) {
      if (blockBoundingGeometry(block).translated(contentOffset()).top() > bottom) break;
      const QString text = block.text();
      for (qsizetype at = text.indexOf(m_searched, 0, Qt::CaseInsensitive); at >= 0;
           at = text.indexOf(m_searched, at + m_searched.size(), Qt::CaseInsensitive)) {
        QTextCursor cursor(block);
        cursor.setPosition(block.position() + static_cast<int>(at));
        cursor.setPosition(cursor.position() + static_cast<int>(m_searched.size()), QTextCursor::KeepAnchor);
        marks.append({cursor, format});
      }
    }
  setExtraSelections(marks);
}

void LogView::contextMenuEvent(QContextMenuEvent* event) {
  QMenu* const menu = createStandardContextMenu();
  menu->setAttribute(Qt::WA_DeleteOnClose);
  menu->addSeparator();
  menu->addActions(actions());
  menu->popup(event->globalPos());
}

}  // namespace corvane::inspector
