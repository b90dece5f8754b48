#pragma once

#include <QPlainTextEdit>
#include <QString>
#include <QTimer>
#include <deque>
#include <string>
#include <string_view>

namespace corvane::inspector {

/// The last lines of a text that grows at its end, as much of it as is kept in memory. While the end is in view, new
/// lines scroll it; when the user has scrolled up, what is in view stays where it is.
class LogView : public QPlainTextEdit {
  Q_OBJECT

 public:
  static constexpr std::size_t MAX_LINES = 10'000;
  static constexpr qsizetype MAX_CHARACTERS = 2'000'000;  ///< of all lines
  static constexpr std::size_t MAX_LINE = 10'000;         ///< bytes; the rest of a longer one is left out

  explicit LogView(QWidget* parent = nullptr);

  /// Appends text, unchecked bytes, if there is much of it in several steps, between which the window works on. A last
  /// line without an end is held back until its end comes, or the next call comes without text.
  void append(std::string_view text);
  void clearLines();

  /// Shows only the lines that contain this, regardless of case; all if it is empty.
  void setFilter(const QString& filter);

  /// Marks this wherever it is in view.
  void setSearched(const QString& text);
  /// Selects the next place of it, or the previous one, beginning anew at the other end; false if there is none.
  bool findNext(bool backward);

  /// Lines in memory, and those of them that are shown.
  std::size_t lines() const { return m_lines.size(); }
  std::size_t shownLines() const { return m_shown; }

  bool isFollowing() const { return m_isFollowing; }
  /// Scrolls to the end and stays there, or stays here.
  void setFollowing(bool isFollowing);

 Q_SIGNALS:
  void followingChanged(bool isFollowing);

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;

 private:
  bool isShown(const QString& line) const { return m_filter.isEmpty() || line.contains(m_filter, Qt::CaseInsensitive); }
  void takeSome();
  qsizetype dropOld();
  void takeLine(std::string_view line, QStringList& fresh);
  void insert(const QStringList& fresh, qsizetype dropped);
  void scrolled();
  void scrollToEnd();
  void markHits();

  std::deque<QString> m_lines;
  qsizetype m_characters = 0;
  std::size_t m_shown = 0;
  std::string m_waiting;  // what is still to be appended
  std::string m_open;     // the last line, which has no end yet
  QString m_filter;
  QString m_searched;
  bool m_isFollowing = true;
  bool m_isInserting = false;
  QTimer m_next;  // for what is waiting
};

}  // namespace corvane::inspector
