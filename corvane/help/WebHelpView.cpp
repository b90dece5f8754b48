#include "corvane/help/WebHelpView.h"

#include <signal.h>
#include <unistd.h>

#include <QAction>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLibraryInfo>
#include <QOpenGLContext>
#include <QPointer>
#include <QVBoxLayout>
#include <QWebEngineDownloadRequest>
#include <QWebEngineHistory>
#include <QWebEngineNewWindowRequest>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineSettings>
#include <cstdio>
#include <utility>

#include "corvane/core/Log.h"
#include "corvane/ui/Appearance.h"
#include "corvane/ui/OpenURL.h"

// Declared in a header of Qt's own, and exported.
Q_GUI_EXPORT void qt_gl_set_global_share_context(QOpenGLContext* context);

namespace corvane {

namespace {

constexpr int PATIENCE_MS = 2000;

// What goes to the network without a request that could be intercepted.
constexpr const char* WITHOUT_NETWORK = "delete window.RTCPeerConnection; delete window.webkitRTCPeerConnection;";

// Not visible to the pages' scripts, and not bound by what a page allows to be run.
constexpr auto OWN_WORLD = QWebEngineScript::ApplicationWorld;

QString json(const QVariant& value) {
  const QByteArray array = QJsonDocument(QJsonArray{QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
  return QString::fromUtf8(array.mid(1, array.size() - 2));
}

}  // namespace

void HelpRequests::interceptRequest(QWebEngineUrlRequestInfo& info) {
  const QUrl url = info.requestUrl();
  if (url.scheme() != "data" && url.scheme() != "blob" && !m_pages.contains(url)) info.block(true);
}

WebHelpPage::WebHelpPage(QWebEngineProfile* profile, const HelpView::Options& options)
    : QWebEnginePage(profile), m_options(options) {
  QWebEngineSettings& settings = *this->settings();
  settings.setAttribute(QWebEngineSettings::ErrorPageEnabled, false);
  settings.setAttribute(QWebEngineSettings::NavigateOnDropEnabled, false);
  settings.setAttribute(QWebEngineSettings::LocalContentCanAccessRemoteUrls, false);
  QWebEngineScript script;
  script.setSourceCode(WITHOUT_NETWORK);
  script.setInjectionPoint(QWebEngineScript::DocumentCreation);
  script.setWorldId(QWebEngineScript::MainWorld);
  script.setRunsOnSubFrames(true);
  scripts().insert(script);
  connect(this, &QWebEnginePage::newWindowRequested, this, [this](QWebEngineNewWindowRequest& request) {
    newWindow(request.requestedUrl(), request.isUserInitiated());
  });
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
  connect(this, &QWebEnginePage::permissionRequested, this, [](QWebEnginePermission permission) { permission.deny(); });
#else
  connect(this, &QWebEnginePage::featurePermissionRequested, this, [this](const QUrl& origin, Feature feature) {
    setFeaturePermission(origin, feature, PermissionDeniedByUser);
  });
#endif
}

// Frames that a page brings along open nothing by themselves.
bool WebHelpPage::acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) {
  const bool isLink = type == NavigationTypeLinkClicked || type == NavigationTypeFormSubmitted;
  if (isMainFrame || isLink) return m_options.decidePolicy(url);
  return url.scheme() == "about" || url.scheme() == "data" || m_options.pages.contains(url);
}

void WebHelpPage::newWindow(const QUrl& url, bool isUsers) {
  if (isUsers && m_options.decidePolicy(url)) load(url);
}

WebHelpView::WebHelpView(Options options)
    : HelpView(std::move(options)), m_requests(this->options().pages), m_page(&m_profile, this->options()) {
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(&m_view);
  setFocusProxy(&m_view);
  m_profile.setUrlRequestInterceptor(&m_requests);
  m_view.setPage(&m_page);
  m_view.setAcceptDrops(false);
  m_view.setContextMenuPolicy(Qt::ActionsContextMenu);
  for (const auto& [action, text] :
       {std::pair(QWebEnginePage::Back, tr("Back")), std::pair(QWebEnginePage::Forward, tr("Forward")),
        std::pair(QWebEnginePage::Copy, tr("&Copy")), std::pair(QWebEnginePage::SelectAll, tr("Select All"))}) {
    m_page.action(action)->setText(text);
    m_view.addAction(m_page.action(action));
  }
  connect(&m_profile, &QWebEngineProfile::downloadRequested, this, [this](QWebEngineDownloadRequest* file) {
    if (this->options().pages.contains(file->url())) openURL(file->url(), "HelpViewer");  // it cannot be shown
  });
  for (auto* const timer : {&m_patience, &m_limit}) timer->setSingleShot(true);
  m_patience.setInterval(PATIENCE_MS);
  m_limit.setInterval(static_cast<int>(this->options().limit * 1000));
  connect(&m_patience, &QTimer::timeout, this, &WebHelpView::lookAfter);
  connect(&m_limit, &QTimer::timeout, this, &WebHelpView::stopLoading);
  connect(&m_page, &QWebEnginePage::loadStarted, &m_limit, qOverload<>(&QTimer::start));
  connect(&m_page, &QWebEnginePage::loadFinished, &m_limit, &QTimer::stop);
  connect(&m_page, &QWebEnginePage::loadFinished, this, &WebHelpView::arrive);
  connect(&m_page, &QWebEnginePage::urlChanged, this, &WebHelpView::arrive);
  connect(&m_page, &QWebEnginePage::renderProcessTerminated, this, &WebHelpView::restart);
}

void WebHelpView::load(const QUrl& url) {
  m_waiting.push(url);
  if (!m_patience.isActive()) loadNext();
}

bool WebHelpView::canGoBack() const {
  return m_page.history()->canGoBack();
}

bool WebHelpView::canGoForward() const {
  return m_page.history()->canGoForward();
}

void WebHelpView::goBack() {
  go([this] { m_page.history()->back(); });
}

void WebHelpView::goForward() {
  go([this] { m_page.history()->forward(); });
}

// One after the other, because a page that is given up before it is shown leaves nothing in the history.
void WebHelpView::loadNext() {
  if (m_waiting.empty()) return;
  const QUrl url = m_waiting.front();
  m_waiting.pop();
  go([this, url] { m_page.load(url); });
}

void WebHelpView::go(Step step) {
  m_step = std::move(step);
  ask();
  const Step now = m_step;  // may be over when it returns
  now();
}

void WebHelpView::ask() {
  m_isAnswering = false;
  m_page.runJavaScript("0", OWN_WORLD, [self = QPointer(this)](const QVariant&) {
    if (self) self->m_isAnswering = true;
  });
  m_patience.start();
}

void WebHelpView::arrive() {
  m_step = nullptr;
  if (!m_page.isLoading()) finish();
  Q_EMIT navigated();
}

void WebHelpView::finish() {
  m_step = nullptr;
  m_patience.stop();
  loadNext();
}

void WebHelpView::lookAfter() {
  const bool isNextWaiting = !m_waiting.empty() && m_page.isLoading();
  const auto process = static_cast<pid_t>(m_page.renderProcessPid());
  if ((m_step || isNextWaiting) && !m_isAnswering && process > 0)
    kill(process, SIGKILL);
  else if ((m_step && m_page.isLoading()) || isNextWaiting)
    ask();
  else
    finish();
}

void WebHelpView::restart() {
  m_limit.stop();
  m_patience.stop();
  // The engine has not finished with the old process yet.
  QTimer::singleShot(0, this, [this, step = std::exchange(m_step, nullptr)] {
    if (step)
      go(step);
    else
      arrive();
  });
}

void WebHelpView::stopLoading() {
  logNotice("HelpViewer: stopped loading " + url().toString().toStdString());
  m_page.triggerAction(QWebEnginePage::Stop);
  QTimer::singleShot(0, this, [this] { go([] {}); });  // its script may still be running
}

void WebHelpView::search(const QString& text) {
  evaluate(options().searchScript);
  evaluate(text.isEmpty() ? "Help_RemoveAllHighlights()" : "Help_HighlightAllOccurencesOfString('" + text + "')");
}

// The engine tells of no errors.
void WebHelpView::evaluate(const QString& script) {
  const auto print = [](const QVariant& answer) {
    const QVariantMap map = answer.toMap();
    if (!map.contains("error")) return;
    std::printf("%s\n%s\n", qPrintable(json(map["result"])), qPrintable(map["error"].toString()));
    std::fflush(stdout);
  };
  m_page.runJavaScript("(() => { try { return {result: (0, eval)(" + json(script) +
                           ")} } catch (error) { return {error: String(error)} } })()",
                       OWN_WORLD, print);
}

}  // namespace corvane

// Why the engine would end this process, if it would.
static std::string obstacle() {
  if (geteuid() == 0 && !qEnvironmentVariableIsSet("QTWEBENGINE_DISABLE_SANDBOX"))
    return "for root the web engine needs QTWEBENGINE_DISABLE_SANDBOX=1";
  const QString program = QLibraryInfo::path(QLibraryInfo::LibraryExecutablesPath) + "/QtWebEngineProcess";
  if (!QFileInfo(program).isExecutable() && !qEnvironmentVariableIsSet("QTWEBENGINEPROCESS_PATH"))
    return program.toStdString() + " is missing";
  return {};
}

// The engine needs what an application that knew of it would have asked for before it made its application object.
// There, it would cost everyone 40 ms and 30 MiB.
static void shareOpenGLContexts() {
  if (QOpenGLContext::globalShareContext()) return;
  auto* const context = new QOpenGLContext;
  context->create();  // where there is no OpenGL, the engine draws without it
  qt_gl_set_global_share_context(context);
}

// Pages that have a dark look show it if the program is dark when the engine starts, which asks nobody later.
static void tellAppearance() {
  static bool isTold = false;
  if (std::exchange(isTold, true) || !corvane::isDarkAppearance()) return;
  constexpr const char* FLAGS = "QTWEBENGINE_CHROMIUM_FLAGS";
  qputenv(FLAGS, qgetenv(FLAGS) + " --blink-settings=preferredColorScheme=0");
}

extern "C" CORVANE_API corvane::HelpView* corvane_make_web_help_view(const corvane::HelpView::Options& options,
                                                                     std::string& reason);

corvane::HelpView* corvane_make_web_help_view(const corvane::HelpView::Options& options, std::string& reason) {
  reason = obstacle();
  if (!reason.empty()) return nullptr;
  shareOpenGLContexts();
  tellAppearance();
  return new corvane::WebHelpView(options);
}
