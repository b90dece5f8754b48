#include "apps/inspector/window/PageParts.h"

#include <QAccessible>
#include <QAction>
#include <QStyle>
#include <QToolButton>

namespace corvane::inspector {

namespace {

constexpr int MARGIN = 8;  // points

}  // namespace

QVBoxLayout* pageLayout(QWidget* page) {
  auto* const layout = new QVBoxLayout(page);
  layout->setContentsMargins({});
  layout->setSpacing(0);
  return layout;
}

QHBoxLayout* addBar(QVBoxLayout* layout) {
  auto* const bar = new QHBoxLayout;
  bar->setContentsMargins(MARGIN, MARGIN, MARGIN, MARGIN);
  bar->setSpacing(MARGIN);
  layout->addLayout(bar);
  return bar;
}

QPushButton* buttonFor(QAction* action) {
  auto* const button = new QPushButton;
  const auto follow = [action, button] {
    button->setText(action->text());
    button->setEnabled(action->isEnabled());
    button->setToolTip(action->shortcut().toString(QKeySequence::NativeText));
  };
  QObject::connect(action, &QAction::changed, button, follow);
  QObject::connect(button, &QPushButton::clicked, action, &QAction::trigger);
  follow();
  return button;
}

QAction* newAction(QWidget* page, const QString& text, const QKeySequence& keys) {
  auto* const action = new QAction(text, page);
  action->setShortcut(keys);
  action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
  page->addAction(action);
  return action;
}

MessageBar::MessageBar(QWidget* parent) : QWidget(parent), m_icon(new QLabel), m_text(new QLabel) {
  m_text->setTextFormat(Qt::PlainText);
  m_text->setWordWrap(true);
  m_text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  auto* const close = new QToolButton;
  close->setAutoRaise(true);
  close->setText(QStringLiteral("✕"));
  close->setToolTip(tr("Close this message"));
  close->setAccessibleName(close->toolTip());
  connect(close, &QToolButton::clicked, this, &MessageBar::clear);
  auto* const layout = new QHBoxLayout(this);
  layout->setContentsMargins(MARGIN, MARGIN / 2, MARGIN, MARGIN / 2);
  layout->setSpacing(MARGIN);
  layout->addWidget(m_icon, 0, Qt::AlignTop);
  layout->addWidget(m_text, 1);
  layout->addWidget(close, 0, Qt::AlignTop);
  hide();
}

void MessageBar::clear() {
  m_text->clear();
  hide();
}

void MessageBar::show(const QString& text, bool isFailure) {
  if (isVisible() && text == m_text->text()) return;
  const int size = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
  m_icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(size));
  m_icon->setVisible(isFailure);
  m_text->setText(text);
  setVisible(true);
  QAccessibleEvent event(m_text, QAccessible::Alert);
  QAccessible::updateAccessibility(&event);
}

}  // namespace corvane::inspector
