#pragma once

#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineUrlRequestInterceptor>
#include <QWebEngineView>
#include <functional>
#include <queue>

#include "corvane/ui/HelpView.h"

namespace corvane {

/// Lets through what is in the folder. The engine asks it about files, too.
class HelpRequests : public QWebEngineUrlRequestInterceptor {
 public:
  explicit HelpRequests(HelpPages pages) : m_pages(std::move(pages)) {}
  void interceptRequest(QWebEngineUrlRequestInfo& info) override;

 private:
  const HelpPages m_pages;
};

/// A page that leaves decisions about links to the view's policy, and opens no windows or dialogs.
class WebHelpPage : public QWebEnginePage {
 public:
  WebHelpPage(QWebEngineProfile* profile, const HelpView::Options& options);

 protected:
  bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;
  void javaScriptAlert(const QUrl&, const QString&) override {}
  bool javaScriptConfirm(const QUrl&, const QString&) override { return false; }
  bool javaScriptPrompt(const QUrl&, const QString&, const QString&, QString*) override { return false; }
  QStringList chooseFiles(FileSelectionMode, const QStringList&, const QStringList&) override { return {}; }

 private:
  void newWindow(const QUrl& url, bool isUsers);

  const HelpView::Options& m_options;
};

/// Shows the pages in a web engine.
///
/// Its process answers nothing while a page's script runs. If it does not answer when another page is wanted, or when
/// time is up for the present one, it is killed: the engine starts a new one for the next page and keeps the history.
class WebHelpView : public HelpView {
  Q_OBJECT

 public:
  explicit WebHelpView(Options options);

  void load(const QUrl& url) override;
  QUrl url() const override { return m_page.url(); }
  bool canGoBack() const override;
  bool canGoForward() const override;
  void goBack() override;
  void goForward() override;
  void search(const QString& text) override;
  void setZoom(double factor) override { m_view.setZoomFactor(factor); }

 private:
  using Step = std::function<void()>;

  void loadNext();
  void go(Step step);
  void ask();
  void arrive();
  void finish();
  void lookAfter();
  void restart();
  void stopLoading();
  void evaluate(const QString& script);

  QWebEngineProfile m_profile;  // destroyed last: the page needs it
  HelpRequests m_requests;
  WebHelpPage m_page;
  QWebEngineView m_view;
  std::queue<QUrl> m_waiting;  // pages that have been asked for
  Step m_step;                 // what was asked of the engine last; empty once another page is there
  bool m_isAnswering = true;
  QTimer m_patience;  // runs while a page is on its way
  QTimer m_limit;
};

}  // namespace corvane
