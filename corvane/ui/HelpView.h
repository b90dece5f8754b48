#pragma once

#include <QString>
#include <QUrl>
#include <QWidget>
#include <functional>

#include "corvane/platform/Export.h"
#include "corvane/ui/HelpPages.h"

namespace corvane {

/// What shows the pages in a HelpViewer. There are two: TextHelpView, and the web view of the module libcorvane-help.
class CORVANE_API HelpView : public QWidget {
  Q_OBJECT

 public:
  struct Options {
    HelpPages pages;
    std::function<bool(const QUrl& url)> decidePolicy;  ///< whether to show what the user or a page leads to
    QString searchScript;                               ///< defines the functions that highlight
    double limit = 60;                                  ///< seconds that a page may take to load
  };

  explicit HelpView(Options options) : m_options(std::move(options)) {}

  /// Shows a page of the folder. Each one that has been asked for gets its place in the history.
  virtual void load(const QUrl& url) = 0;
  virtual QUrl url() const = 0;  ///< what is shown; empty at first

  virtual bool canGoBack() const = 0;
  virtual bool canGoForward() const = 0;
  virtual void goBack() = 0;
  virtual void goForward() = 0;

  /// Highlights every occurrence of the text and scrolls to the first one; nothing for an empty text.
  virtual void search(const QString& text) = 0;

  virtual void setZoom(double factor) = 0;

 Q_SIGNALS:
  /// A page has been loaded, or could not be; or another place in it is shown.
  void navigated();

 protected:
  const Options& options() const { return m_options; }

 private:
  const Options m_options;
};

/// The name of the function that the module exports, and its type. It gives no view where the engine cannot run, and
/// sets the reason.
constexpr const char* MAKE_WEB_HELP_VIEW = "corvane_make_web_help_view";
using MakeWebHelpView = HelpView*(const HelpView::Options& options, std::string& reason);

/// The view of a window: a web view if the module is installed, otherwise a text view, and a notice, once.
HelpView* makeHelpView(const HelpView::Options& options, QWidget* window);

}  // namespace corvane
