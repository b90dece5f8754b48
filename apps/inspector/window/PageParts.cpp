#include "apps/inspector/window/PageParts.h"

#include <QAccessible>
#include <QAction>
#include <QGuiApplication>
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
    const QString reason = action->isEnabled() ? QString() : action->statusTip();
    button->setToolTip(reason.isEmpty() ? action->shortcut().toString(QKeySequence::NativeText) : reason);
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

QWidget* titled(const QString& title, QWidget* content) {
  auto* const part = new QWidget;
  QVBoxLayout* const layout = pageLayout(part);
  auto* const label = new QLabel(title);
  QFont bold = label->font();
  bold.setBold(true);
  label->setFont(bold);
  label->setBuddy(content);
  addBar(layout)->addWidget(label);
  layout->addWidget(content);
  return part;
}

QLabel* fieldTitle(const QString& text) {
  auto* const title = new QLabel(text);
  QPalette faint = title->palette();
  QColor colour = faint.color(QPalette::WindowText);
  colour.setAlphaF(0.65F);
  faint.setColor(QPalette::WindowText, colour);
  title->setPalette(faint);
  return title;
}

QLabel* fieldValue(const QString& title) {
  auto* const value = new QLabel;
  value->setTextFormat(Qt::PlainText);
  value->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  value->setAlignment(leading());
  value->setAccessibleName(title);
  return value;
}

Qt::Alignment leading() {
  return QGuiApplication::isRightToLeft() ? Qt::AlignRight | Qt::AlignAbsolute : Qt::AlignLeft;
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
