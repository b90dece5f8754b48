// Rich text of 10 MB, as a word processor writes it, into a text document; beside the toolkit's own reader of the same
// text with the same looks as HTML. Neither is laid out or shown.
#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QTextDocument>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "corvane/ui/RichText.h"

namespace {

constexpr std::size_t SIZE = 10'000'000;
constexpr int WORDS = 60;  // in a paragraph

struct Texts {
  std::string rtf =
      "{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0\\froman\\fcharset0 Times;}}{\\colortbl;\\red200\\green0\\blue0;}\n";
  std::string html = "<html><body style=\"font-family:Times; font-size:12pt\">\n";
};

Texts makeTexts() {
  struct Look {
    const char *rtf, *html;
  };
  constexpr Look LOOKS[] = {{"{\\b please}", "<b>please</b>"},
                            {"\\cf1 support\\cf0 ", "<span style=\"color:#c80000\">support</span>"},
                            {"caf\\'e9", "caf\xC3\xA9"},
                            {"\\u28450?", "\xE6\xBC\xA2"}};
  Texts texts;
  std::mt19937 random(1);
  while (texts.rtf.size() < SIZE) {
    texts.rtf += "\\pard\\plain\\ql\\sa140\\f0\\fs24 ";
    texts.html += "<p>";
    for (int word = 0; word < WORDS; ++word) {
      const auto kind = random() % 40;
      const Look look = kind < std::size(LOOKS) ? LOOKS[kind] : Look{"development", "development"};
      (texts.rtf += look.rtf) += ' ';
      (texts.html += look.html) += ' ';
    }
    texts.rtf += "\\par\n";
    texts.html += "</p>\n";
  }
  texts.rtf += '}';
  texts.html += "</body></html>";
  return texts;
}

// Measures what makes a document of the text.
template <class Read>
void measure(benchmark::State& state, Read&& read) {
  int argc = 1;
  char name[] = "bench";
  char* argv[] = {name, nullptr};
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const QGuiApplication application(argc, argv);
  for (auto _ : state) {
    const std::unique_ptr<QTextDocument> document = read();
    if (document->characterCount() < static_cast<int>(SIZE / 2)) state.SkipWithError("the text is not there");
  }
}

const bool isRegistered = [] {
  const std::pair<const char*, void (*)(benchmark::State&)> candidates[] = {
      {"Corvane richText",
       [](benchmark::State& state) {
         const std::string rtf = makeTexts().rtf;
         measure(state, [&] { return std::move(*corvane::richText(rtf)); });
       }},
      {"QTextDocument setHtml", [](benchmark::State& state) {
         const QString html = QString::fromStdString(makeTexts().html);
         measure(state, [&] {
           auto document = std::make_unique<QTextDocument>();
           document->setHtml(html);
           return document;
         });
       }}};
  for (const auto& [name, function] : candidates) {
    const std::string path = std::string("richtext/") + name;
    benchmark::RegisterBenchmark(path.c_str(), function)->Unit(benchmark::kMillisecond);
  }
  return true;
}();

}  // namespace
