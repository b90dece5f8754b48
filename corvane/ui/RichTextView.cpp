#include "corvane/ui/RichTextView.h"

#include <QEvent>
#include <QTextBlock>
#include <QTextCharFormat>
#include <QTextCursor>
#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "corvane/ui/MainThread.h"
#include "corvane/ui/OpenURL.h"
#include "corvane/ui/rtf/RtfReader.h"

namespace corvane {

namespace {

constexpr double MIN_CONTRAST = 4.5;  // WCAG 2.1, 1.4.3
constexpr int MARGIN = 12;            // around the text, in points of the screen

// WCAG 2.1, "relative luminance".
double luminance(const QColor& color) {
  const auto linear = [](double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& other) {
  const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
  return (lighter + 0.05) / (darker + 0.05);
}

// The colour, or the nearest shade of it that can be read on the paper.
QColor readable(const QColor& ink, const QColor& paper) {
  const QColor end = contrast(Qt::white, paper) > contrast(Qt::black, paper) ? Qt::white : Qt::black;
  constexpr int STEPS = 16;
  for (int step = 0; step < STEPS; ++step) {
    const auto mixed = [step](int from, int to) { return from + (to - from) * step / STEPS; };
    const QColor shade(mixed(ink.red(), end.red()), mixed(ink.green(), end.green()), mixed(ink.blue(), end.blue()));
    if (contrast(shade, paper) >= MIN_CONTRAST) return shade;
  }
  return end;
}

}  // namespace

RichTextView::RichTextView(QWidget* parent) : QTextBrowser(parent) {
  requireMainThread("RichTextView");
  setOpenLinks(false);
  connect(this, &QTextBrowser::anchorClicked, this, [](const QUrl& address) {
    const QString allowed = RtfReader::allowedLink(address.toString(QUrl::FullyEncoded));
    if (!allowed.isEmpty()) openURL(QUrl(allowed), "RichTextView");
  });
}

void RichTextView::setRichText(std::unique_ptr<QTextDocument> document) {
  if (!document) document = std::make_unique<QTextDocument>();
  const std::unique_ptr<QTextDocument> previous(this->document()->parent() == this ? this->document() : nullptr);
  document->setParent(this);
  document->setDefaultFont(font());
  document->setDocumentMargin(MARGIN);
  setDocument(document.release());
  adaptColors();
}

QVariant RichTextView::loadResource(int, const QUrl&) {
  return {};
}

void RichTextView::changeEvent(QEvent* event) {
  QTextBrowser::changeEvent(event);
  if (event->type() == QEvent::PaletteChange) adaptColors();
}

void RichTextView::adaptColors() {
  struct Change {
    int begin, end;
    QColor color;
  };
  std::vector<Change> changes;
  const QColor paper = palette().base().color();
  for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
    for (auto part = block.begin(); !part.atEnd(); ++part) {
      const QTextFragment fragment = part.fragment();
      const QTextCharFormat format = fragment.charFormat();
      if (!format.hasProperty(RICH_TEXT_INK)) continue;
      const QColor ink = format.colorProperty(RICH_TEXT_INK);
      const QColor shown = ink.isValid() ? readable(ink, paper) : palette().link().color();
      if (format.foreground() != QBrush(shown))
        changes.push_back({fragment.position(), fragment.position() + fragment.length(), shown});
    }
  }
  QTextCursor cursor(document());
  cursor.beginEditBlock();
  for (const Change& change : changes) {
    QTextCharFormat format;
    format.setForeground(change.color);
    cursor.setPosition(change.begin);
    cursor.setPosition(change.end, QTextCursor::KeepAnchor);
    cursor.mergeCharFormat(format);
  }
  cursor.endEditBlock();
}

}  // namespace corvane
