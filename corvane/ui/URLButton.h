#pragma once

#include <QPushButton>
#include <QUrl>

#include "corvane/platform/Export.h"

namespace corvane {

/// A button that acts like a link: the pointer becomes a hand over it, and Return clicks it, as Space does. Assistive
/// technology knows it as a link. Main thread.
///
///     auto* const button = new URLButton(tr("Corvane on the web"), QUrl("https://example.org/"), this);
///
/// With an address, a click opens that in the user's application for it, in the background; the button's tool tip is
/// the address unless another one is set. Without one, what a click does is the program's: connect clicked().
class CORVANE_API URLButton : public QPushButton {
  Q_OBJECT
  Q_PROPERTY(QUrl url READ url WRITE setUrl)

 public:
  /// A button with this text that opens the address when it is clicked; nothing for an empty one.
  explicit URLButton(QWidget* parent = nullptr);
  explicit URLButton(const QString& text, const QUrl& url = {}, QWidget* parent = nullptr);

  /// Gives the pointer its hand over the button's bounds again, if it was given something else.
  void resetCursorRects();

  /// The address that it opens.
  QUrl url() const { return m_url; }
  void setUrl(const QUrl& url);

 Q_SIGNALS:
  /// The address could not be opened, for this reason. It has been logged.
  void failed(const QString& reason);

 protected:
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void open();

  QUrl m_url;
};

}  // namespace corvane
