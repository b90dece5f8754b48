#pragma once

#include <QTextBrowser>
#include <vector>

#include "corvane/ui/HelpView.h"

namespace corvane {

/// Shows the pages' text, headings, links and pictures without a web engine; no scripts, no frames, little style.
class TextHelpView : public HelpView {
  Q_OBJECT

 public:
  explicit TextHelpView(Options options);

  void load(const QUrl& url) override;
  QUrl url() const override;
  bool canGoBack() const override;
  bool canGoForward() const override;
  void goBack() override;
  void goForward() override;

  /// Without regard to case and marks, and also across the borders of inline elements.
  void search(const QString& text) override;

  void setZoom(double factor) override;

 private:
  struct Match {
    int begin = 0, end = 0;  // positions in the document
  };

  void showMatches();

  class Browser;
  Browser* const m_browser;
  const double m_fontSize;
  std::vector<Match> m_matches;  // in order
};

}  // namespace corvane
