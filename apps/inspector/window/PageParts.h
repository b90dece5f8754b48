#pragma once

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

class QAction;
class QToolButton;

namespace corvane::inspector {

// What pages are put together from, so that they look alike.

/// A layout without margins for a page; its parts are told apart by their own.
QVBoxLayout* pageLayout(QWidget* page);

/// A row of controls, with margins around it.
QHBoxLayout* addBar(QVBoxLayout* layout);

/// A button for an action, which it follows: its text, whether it is enabled, and its hint; while it is
/// not enabled, that is the reason why, if its statusTip() tells one.
QPushButton* buttonFor(QAction* action);

/// The content with a title above it, whose access key leads there.
QWidget* titled(const QString& title, QWidget* content);

/// The name of a value, which is fainter; and a label for the value, which can be selected.
QLabel* fieldTitle(const QString& text);
QLabel* fieldValue(const QString& title);

/// Where texts begin, for widgets that align texts which can be selected by the direction of the text.
Qt::Alignment leading();

/// A new action of the page, which works while the focus is on the page.
QAction* newAction(QWidget* page, const QString& text, const QKeySequence& keys = {});

/// Tells the outcome of what the user asked for, in words, until it is closed or told something else. Hidden while
/// there is nothing to tell.
class MessageBar : public QWidget {
  Q_OBJECT

 public:
  explicit MessageBar(QWidget* parent = nullptr);

  void showMessage(const QString& text) { show(text, false); }
  void showFailure(const QString& text) { show(text, true); }
  QString text() const { return m_text->text(); }
  void clear();

 private:
  void show(const QString& text, bool isFailure);

  QLabel* m_icon;
  QLabel* m_text;
};

}  // namespace corvane::inspector
