// A search in a help page of 5 MB with 10,000 occurrences: from the call until all are highlighted. Beside the search
// of the web engine itself, from the call until it knows their number.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QWebEngineFindTextResult>
#include <QWebEnginePage>
#include <QWebEngineScript>
#include <QWebEngineView>
#include <chrono>

#include "corvane/infra/Bundle.h"

namespace {

constexpr int PARAGRAPHS = 40'000;
constexpr int OCCURRENCES = 10'000;

QByteArray longPage() {
  QByteArray html = "<!doctype html><meta charset=utf-8><title>Long</title>";
  for (int i = 0; i < PARAGRAPHS; ++i)
    html += "<p>Paragraph " + QByteArray::number(i) + " holds a <b>" + (i % 4 == 0 ? "needle" : "thread") +
            "</b> in some text that is a little longer than a line is, as on real pages.\n";
  return html;
}

// The long page in a view of the engine.
class LongPage {
 public:
  LongPage() {
    QFile file(m_folder.filePath("page.html"));
    if (!file.open(QIODevice::WriteOnly) || file.write(longPage()) < 0) qFatal("no page");
    file.close();
    m_view.resize(700, 500);
    m_view.show();
    QEventLoop loaded;
    QObject::connect(&m_view, &QWebEngineView::loadFinished, &loaded, &QEventLoop::quit);
    m_view.load(QUrl::fromLocalFile(file.fileName()));
    loaded.exec();
  }

  QWebEnginePage& page() { return *m_view.page(); }

  QVariant evaluate(const QString& script) {
    QEventLoop answered;
    QVariant answer;
    page().runJavaScript(script, QWebEngineScript::ApplicationWorld, [&](const QVariant& it) {
      answer = it;
      answered.quit();
    });
    answered.exec();
    return answer;
  }

 private:
  char m_name[6] = "bench";
  char* m_arguments[2] = {m_name, nullptr};
  int m_count = 1;
  const bool m_isSet = qputenv("QT_QPA_PLATFORM", "offscreen") && qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
  const QApplication m_application{m_count, m_arguments};
  const QTemporaryDir m_folder;
  QWebEngineView m_view;
};

template <class Search, class Clear>
void measure(benchmark::State& state, Search&& search, Clear&& clear) {
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    if (search() != OCCURRENCES) state.SkipWithError("another number of occurrences");
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    clear();
  }
}

void searchCorvane(benchmark::State& state) {
  LongPage long_;
  QFile file(QString::fromStdString(corvane::Bundle::libraryBundle()->resource("SearchWebView.js").value_or("")));
  if (!file.open(QIODevice::ReadOnly)) return state.SkipWithError("no script");
  const QString script = QString::fromUtf8(file.readAll());
  // Highlights until their number is the wanted one.
  const auto highlighted = [&](const char* call, int wanted) {
    long_.evaluate(script);
    long_.evaluate(call);
    int count = -1;
    for (QDeadlineTimer late(120'000); count != wanted && !late.hasExpired();)
      count = long_.evaluate("document.getElementsByTagName('corvane-found').length").toInt();
    return count;
  };
  measure(
      state, [&] { return highlighted("Help_HighlightAllOccurencesOfString('needle')", OCCURRENCES); },
      [&] { highlighted("Help_RemoveAllHighlights()", 0); });
}
BENCHMARK(searchCorvane)->Name("pagesearch/Corvane SearchWebView")->UseManualTime()->Iterations(2);

void searchEngine(benchmark::State& state) {
  LongPage long_;
  measure(
      state,
      [&] {
        QEventLoop found;
        int count = 0;
        long_.page().findText("needle", {}, [&](const QWebEngineFindTextResult& result) {
          count = result.numberOfMatches();
          found.quit();
        });
        found.exec();
        return count;
      },
      [&] {
        long_.page().findText({});
        long_.evaluate("0");
      });
}
BENCHMARK(searchEngine)->Name("pagesearch/QWebEnginePage::findText")->UseManualTime()->Iterations(2);

}  // namespace
