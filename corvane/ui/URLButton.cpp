#include "corvane/ui/URLButton.h"

#include <QAccessibleWidget>
#include <QKeyEvent>
#include <QPointer>

#include "corvane/ui/MainThread.h"
#include "corvane/ui/OpenURL.h"

namespace corvane {

namespace {

class AccessibleLink : public QAccessibleWidget {
 public:
  explicit AccessibleLink(URLButton& button) : QAccessibleWidget(&button, QAccessible::Link) {
    addControllingSignal(QLatin1String("clicked(bool)"));
  }

  QString text(QAccessible::Text kind) const override {
    const QString given = QAccessibleWidget::text(kind);
    return kind == QAccessible::Name && given.isEmpty() ? button().text().remove(u'&') : given;
  }
  QStringList actionNames() const override { return {pressAction(), setFocusAction()}; }
  void doAction(const QString& name) override {
    if (name == pressAction())
      button().click();
    else
      QAccessibleWidget::doAction(name);
  }

 private:
  URLButton& button() const { return static_cast<URLButton&>(*widget()); }
};

QAccessibleInterface* accessibleLink(const QString&, QObject* object) {
  auto* const button = qobject_cast<URLButton*>(object);
  return button ? new AccessibleLink(*button) : nullptr;
}

}  // namespace

URLButton::URLButton(QWidget* parent) : URLButton(QString(), QUrl(), parent) {}

URLButton::URLButton(const QString& text, const QUrl& url, QWidget* parent) : QPushButton(text, parent) {
  requireMainThread("URLButton");
  [[maybe_unused]] static const bool IS_KNOWN = (QAccessible::installFactory(accessibleLink), true);
  resetCursorRects();
  setUrl(url);
  connect(this, &QAbstractButton::clicked, this, &URLButton::open);
}

void URLButton::resetCursorRects() {
  setCursor(Qt::PointingHandCursor);
}

void URLButton::setUrl(const QUrl& url) {
  if (toolTip() == m_url.toDisplayString()) setToolTip(url.toDisplayString());
  m_url = url;
}

void URLButton::open() {
  if (m_url.isEmpty()) return;
  openURL(m_url, "URLButton", [self = QPointer(this)](const QString& reason) {
    if (self && !reason.isEmpty()) Q_EMIT self->failed(reason);
  });
}

void URLButton::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
    click();
  else
    QPushButton::keyPressEvent(event);
}
}  // namespace corvane
