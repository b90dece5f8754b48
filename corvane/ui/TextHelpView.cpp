#include "corvane/ui/TextHelpView.h"

#include <QScrollBar>
#include <QTextBlock>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

namespace corvane {

namespace {

constexpr double MARGIN = 16;  // points around the text
const QColor HIGHLIGHT(0xff, 0xe0, 0x66);

// A text as it is compared, and where each of its characters comes from.
struct Folded {
  QString text;
  std::vector<int> origins;

  explicit Folded(const QString& original) {
    text.reserve(original.size());
    origins.reserve(static_cast<std::size_t>(original.size()));
    for (int i = 0; i < original.size(); ++i) {
      const QChar c = original[i];
      if (c.unicode() < 0x80)
        add(c.toLower(), i);
      else if (c == u'ß' || c == u'ẞ')
        add(u's', i), add(u's', i);
      else
        for (const QChar part : QString(c).normalized(QString::NormalizationForm_KD))
          if (!part.isMark()) add(part.toLower(), i);
    }
  }

 private:
  void add(QChar c, int origin) {
    text += c;
    origins.push_back(origin);
  }
};

}  // namespace

// Loads nothing but what is in the folder.
class TextHelpView::Browser : public QTextBrowser {
 public:
  explicit Browser(const HelpPages& pages) : m_pages(pages) {}

  QVariant loadResource(int type, const QUrl& name) override {
    const QUrl url = source().resolved(name);
    return m_pages.contains(url) ? QTextBrowser::loadResource(type, url) : QVariant();
  }

 private:
  const HelpPages m_pages;
};

TextHelpView::TextHelpView(Options options)
    : HelpView(std::move(options)),
      m_browser(new Browser(this->options().pages)),
      m_fontSize(m_browser->font().pointSizeF()) {
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(m_browser);
  setFocusProxy(m_browser);
  m_browser->setOpenLinks(false);
  m_browser->document()->setDocumentMargin(MARGIN);
  connect(m_browser, &QTextBrowser::anchorClicked, this, [this](const QUrl& url) {
    if (this->options().decidePolicy(url)) load(url);
  });
  connect(m_browser, &QTextBrowser::sourceChanged, this, [this] { search({}); });
  connect(m_browser, &QTextBrowser::historyChanged, this, &HelpView::navigated, Qt::QueuedConnection);
  connect(m_browser->verticalScrollBar(), &QScrollBar::valueChanged, this, &TextHelpView::showMatches);
  connect(m_browser->verticalScrollBar(), &QScrollBar::rangeChanged, this, &TextHelpView::showMatches);
}

void TextHelpView::load(const QUrl& url) {
  m_browser->setSource(url, QTextDocument::HtmlResource);
}

QUrl TextHelpView::url() const {
  return m_browser->source();
}

bool TextHelpView::canGoBack() const {
  return m_browser->isBackwardAvailable();
}

bool TextHelpView::canGoForward() const {
  return m_browser->isForwardAvailable();
}

void TextHelpView::goBack() {
  m_browser->backward();
}

void TextHelpView::goForward() {
  m_browser->forward();
}

void TextHelpView::search(const QString& text) {
  m_matches.clear();
  const QString wanted = Folded(text).text;
  if (!wanted.isEmpty()) {
    const Folded page(m_browser->document()->toPlainText());
    const auto origin = [&](qsizetype i) { return page.origins[static_cast<std::size_t>(i)]; };
    for (qsizetype at = page.text.indexOf(wanted); at >= 0; at = page.text.indexOf(wanted, at + wanted.size()))
      m_matches.push_back({origin(at), origin(at + wanted.size() - 1) + 1});
  }
  if (!m_matches.empty()) {
    QTextCursor first(m_browser->document());
    first.setPosition(m_matches.front().begin);
    m_browser->setTextCursor(first);
    m_browser->ensureCursorVisible();
  }
  showMatches();
}

// Only those in sight: the widget takes seconds for tens of thousands.
void TextHelpView::showMatches() {
  const int begin = m_browser->cursorForPosition({0, 0}).block().position();
  const int end = m_browser->cursorForPosition(m_browser->viewport()->rect().bottomRight()).block().next().position();
  const auto first = std::partition_point(m_matches.begin(), m_matches.end(), [&](auto& m) { return m.end <= begin; });
  QList<QTextEdit::ExtraSelection> selections;
  for (auto match = first; match != m_matches.end() && (end == 0 || match->begin < end); ++match) {
    QTextEdit::ExtraSelection selection{QTextCursor(m_browser->document()), {}};
    selection.cursor.setPosition(match->begin);
    selection.cursor.setPosition(match->end, QTextCursor::KeepAnchor);
    selection.format.setBackground(HIGHLIGHT);
    selection.format.setForeground(Qt::black);
    selections.append(selection);
  }
  m_browser->setExtraSelections(selections);
}

void TextHelpView::setZoom(double factor) {
  QFont font = m_browser->font();
  font.setPointSizeF(m_fontSize * factor);
  m_browser->setFont(font);
}

}  // namespace corvane
