#pragma once

#include <QWidget>

#include "apps/inspector/model/Source.h"

class QLineEdit;

namespace corvane::inspector {

/// A page of the window. What it offers are its actions(), which the window shows in a menu of the page's name; their
/// shortcuts should be of the context Qt::WidgetWithChildrenShortcut. It costs nothing while nobody can see it.
class Page : public QWidget {
  Q_OBJECT

 public:
  explicit Page(Source& source, QWidget* parent = nullptr) : QWidget(parent), m_source(&source) {}

  /// Where the page's rows or texts are searched; null if they are not.
  virtual QLineEdit* searchField() const { return nullptr; }
  /// Puts the cursor there, if there is such a field.
  void find() const;

  /// Goes on with another program on the same machine; for pages that show only what is the machine's.
  void setSource(Source& source) { m_source = &source; }

  /// The window tells whether the page can be seen, and then once a second that time has passed.
  void setSeen(bool isSeen);
  void tick();

 protected:
  /// The page can be seen from now on: begin to follow what it shows.
  virtual void appear() {}
  /// It no longer can: stop following.
  virtual void disappear() {}
  /// Show what is new: after appear(), and then once a second.
  virtual void refresh() {}

  bool isSeen() const { return m_isSeen; }
  Source& source() const { return *m_source; }

 private:
  Source* m_source;
  bool m_isSeen = false;
};

}  // namespace corvane::inspector
