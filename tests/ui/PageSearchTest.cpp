#include <gmock/gmock.h>

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>
#include <QWebEngineScript>
#include <QWebEngineView>

#include "corvane/infra/Bundle.h"
#include "tests/support/TempHome.h"

namespace corvane {
namespace {

using namespace testing;

// The script that highlights in pages, in a real engine: one for all cases, because it takes a second to start.
class PageSearch : public Test {
 protected:
  PageSearch() {
    QFile file(QString::fromStdString(Bundle::libraryBundle()->resource("SearchWebView.js").value_or("missing")));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
    m_script = file.readAll();
    m_view.resize(600, 400);
    m_view.show();
  }

  void load(const std::string& html) {
    const std::string path = m_home.write("page.html", "<!doctype html><meta charset=utf-8>" + html);
    QEventLoop loaded;
    QObject::connect(&m_view, &QWebEngineView::loadFinished, &loaded, [&](bool good) { loaded.exit(good ? 0 : 1); });
    m_view.load(QUrl::fromLocalFile(QString::fromStdString(path)));
    EXPECT_EQ(loaded.exec(), 0);
  }

  // What a script gives, as text. It does not see the page's own scripts.
  std::string evaluate(const QString& script) {
    QEventLoop answered;
    std::string answer;
    m_view.page()->runJavaScript(script, QWebEngineScript::ApplicationWorld, [&](const QVariant& it) {
      answer = it.toString().toStdString();
      answered.quit();
    });
    answered.exec();
    return answer;
  }

  // As the viewer does it: with the script before every search. Without a text the highlights go.
  void search(const std::string& text) {
    evaluate(QString::fromUtf8(m_script));
    const QByteArray quoted = QJsonDocument(QJsonArray{QString::fromStdString(text)}).toJson(QJsonDocument::Compact);
    evaluate(text.empty() ? "Help_RemoveAllHighlights()"
                          : "Help_HighlightAllOccurencesOfString(" + QString::fromUtf8(quoted) + "[0])");
  }

  // The highlighted texts; the parts of one that goes across elements are apart.
  std::string found() {
    return evaluate("[...document.querySelectorAll('corvane-found')].map(it => it.textContent).join('|')");
  }

  // All of the page, so that also texts that were joined or split are seen.
  std::string everything() {
    return evaluate(
        "(() => { const all = []; const it = document.createNodeIterator(document);"
        "for (let node; node = it.nextNode();) all.push(node.nodeType + (node.data ?? node.cloneNode().outerHTML));"
        "return all.join('\\n') + document.adoptedStyleSheets.length; })()");
  }

  // Work goes on after a call if the machine is slow or the page long.
  std::string eventually(const std::string& wanted, const std::function<std::string()>& what) {
    std::string now = what();
    for (QDeadlineTimer late(20'000); now != wanted && !late.hasExpired(); now = what()) QTest::qWait(20);
    return now;
  }

  const TempHome m_home;
  QWebEngineView m_view;
  QByteArray m_script;
};

TEST_F(PageSearch, HighlightsWhatAReaderSeesAndLeavesNoTrace) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      // page, text, what is highlighted
      {"<p>Needle, needles <mark>NEEDLE</mark>", "needle", "Needle|needle|NEEDLE"},
      {"<p>nee<b>d<i></i>l</b>e nee<!-- x -->dle", "needle", "nee|d|l|e|nee|dle"},
      {"<p>nee<p>dle<ul><li>nee<li>dle</ul>nee<br>dle nee<img>dle <b>nee<div>dle</div></b>dle", "needle", ""},
      {"<p>Café cafe\u0301 CAFE\u0301 ｃａｆｅ", "cafe", "Café|cafe\u0301|CAFE\u0301|ｃａｆｅ"},
      {"<p>cafe <b>CAFÉ</b>", "c\u00e0f\u00e9", "cafe|CAFÉ"},
      {"<p>Straße STRASSE STRAẞE ﬁsh Σίσυφος İI", "strasse", "Straße|STRASSE|STRAẞE"},
      {"<p>ﬁsh ß", "s", "s|ß"},
      {"<p>ΣΊΣΥΦΟΣ σίσυφοσ", "σίσυφος", "ΣΊΣΥΦΟΣ|σίσυφοσ"},
      {"<p>か が", "が", "が"},
      {"<p>\U0001f600\U0001f600x", "\U0001f600x", "\U0001f600x"},
      {"<p>soft\u00adhyphen", "softhyphen", "soft\u00adhyphen"},
      {"<p> two\n  <b> words</b>&nbsp;here </p> <p> two", " two  words here", ""},
      {"<p>the two\n  <b> words</b>&nbsp;here </p> <p> two", " two  words here ", ""},
      {"<p>the two\n  <b> words</b>&nbsp;here", " two  words here", " two\n  | words|\u00a0here"},
      {"<p>aaaa", "aa", "aa|aa"},
      {"<p>it's \"q\" \\ &lt;b>", "'s \"Q\" \\ <", "'s \"q\" \\ <"},
      {"<p hidden>x</p><p style='visibility:hidden'>x<b style='visibility:visible'>x1</b></p><details>x<p>x</p>"
       "<summary>x2</summary></details><textarea>x</textarea><script>x = 1</script><style>x{}</style><select><option>x"
       "</select><svg><text>x</text></svg><template>x</template><div style='content-visibility:hidden'>x</div>x3",
       "x", "x|x|x"},
      {"<body style='display:flex'>one needle <span>needle</span> needle", "needle", "needle|needle|needle"},
      {"<table> <tr> <td>a b</td> <td>c</td> </tr></table>", " ", " "},
      {"<meta http-equiv=Content-Security-Policy content=\"default-src 'none'\"><p>strict", "strict", "strict"},
      {"<p>none", "needle", ""},
      {"<p>none", "\u0301", ""},
      {"", "needle", ""},
  };
  for (const auto& [html, text, highlighted] : cases) {
    SCOPED_TRACE(std::string(html) + ": " + text);
    load(html);
    evaluate("document.body.append('1', '2', '')");  // texts side by side
    const std::string before = everything();
    search("e");
    search(text);
    EXPECT_EQ(eventually(highlighted, [&] { return found(); }), highlighted);
    search("");
    EXPECT_EQ(eventually(before, [&] { return everything(); }), before);
  }
}

TEST_F(PageSearch, StaysUsableOnALongPageAndGoesOnWhereTheLastCallSays) {
  std::string html;
  for (int i = 0; i < 20'000; ++i) html += "<p>Paragraph " + std::to_string(i) + " holds a <b>needle</b>, and hay.";
  load(html);
  const std::string before = everything();
  const auto count = [this] { return evaluate("document.getElementsByTagName('corvane-found').length"); };
  search("hay");
  search("needle");  // while the search for the other text is at work
  EXPECT_NE(count(), "20000") << "all of it was done at once";
  EXPECT_EQ(eventually("20000", count), "20000");
  EXPECT_EQ(evaluate("document.querySelector('corvane-found').textContent"), "needle");
  search("paragraph 19999");
  EXPECT_EQ(eventually("1", count), "1");
  EXPECT_EQ(eventually("true", [this] { return evaluate("scrollY > innerHeight"); }), "true");
  search("a");
  search("");
  EXPECT_EQ(eventually(before, [this] { return everything(); }), before);
}

}  // namespace
}  // namespace corvane
