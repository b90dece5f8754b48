#include "corvane/ui/HelpViewer.h"

#include <QEvent>
#include <QFile>
#include <QShortcut>
#include <QStyle>
#include <cmath>
#include <utility>

#include "corvane/infra/Bundle.h"
#include "corvane/ui/HelpView.h"
#include "corvane/ui/MainThread.h"
#include "corvane/ui/OpenURL.h"
#include "ui_HelpViewer.h"

namespace corvane {

namespace {

constexpr int TYPING_MS = 400;
constexpr int OPENING_MS = 500;  // no click follows another one this fast, but a script's may
constexpr double ZOOM_STEP = 1.1;
constexpr int MAX_ZOOM_STEPS = 12;

std::shared_ptr<HelpViewer>& sharedViewer() {
  static auto& shared = *new std::shared_ptr<HelpViewer>;  // outlives the application object
  return shared;
}

// Addresses that stand for nothing outside the page.
bool isOfPages(const QUrl& url) {
  for (const char* const scheme : {"file", "data", "javascript", "about", "blob"})
    if (url.scheme() == QLatin1String(scheme)) return true;
  return !url.isValid() || url.isRelative();
}

}  // namespace

void HelpViewer::openPage(const std::string& page) {
  requireMainThread("HelpViewer.openPage");
  const QUrl url = HelpPages::page(page);
  if (url.isEmpty()) return;
  auto viewer = shared();
  if (!viewer) {
    viewer.reset(new HelpViewer);
    viewer->windowDidLoad();
  }
  viewer->m_window->show();
  viewer->m_window->raise();
  viewer->m_window->activateWindow();
  viewer->load(url);
}

void HelpViewer::setFolder(const std::string& folder) {
  requireMainThread("HelpViewer.setFolder");
  HelpPages::setFolder(folder);
}

std::shared_ptr<HelpViewer> HelpViewer::shared() {
  return sharedViewer();
}

void HelpViewer::setShared(std::shared_ptr<HelpViewer> viewer) {
  sharedViewer().swap(viewer);
}

HelpViewer::~HelpViewer() = default;

// The start page is not loaded: the page that is being opened would take its place at once.
void HelpViewer::windowDidLoad() {
  setShared(shared_from_this());
  m_window = new ScreenWindow;
  m_window->setAttribute(Qt::WA_DeleteOnClose);
  m_window->installEventFilter(this);
  connect(m_window, &QObject::destroyed, this, &HelpViewer::windowWillClose);
  Ui::HelpViewer interface;
  interface.setupUi(m_window);
  m_window->setFrameAutosaveName("HelpViewer");
  m_navigate = {interface.back, interface.forward};
  m_search = interface.search;
  m_search_nav = interface.search_nav;

  m_home = HelpPages::page("index");
  QFile script(QString::fromStdString(Bundle::libraryBundle()->resource("SearchWebView.js").value_or("")));
  if (script.open(QIODevice::ReadOnly)) m_search_js = QString::fromUtf8(script.readAll());
  const auto policy = [weak = weak_from_this()](const QUrl& url) {
    const auto self = weak.lock();
    return self && self->decidePolicy(url);
  };
  m_viewer = makeHelpView({HelpPages(), policy, m_search_js}, m_window);
  interface.column->addWidget(m_viewer, 1);
  connect(m_viewer, &HelpView::navigated, this, &HelpViewer::refreshButtons);
  connect(m_viewer, &HelpView::navigated, this, &HelpViewer::navigated);

  const QStyle& style = *m_window->style();
  interface.back->setIcon(style.standardIcon(QStyle::SP_ArrowBack));
  interface.forward->setIcon(style.standardIcon(QStyle::SP_ArrowForward));
  interface.home->setIcon(QIcon::fromTheme("go-home"));  // without it the button shows its text
  interface.home->setEnabled(!m_home.isEmpty());
  for (int segment : {0, 1})
    connect(m_navigate[static_cast<std::size_t>(segment)], &QToolButton::clicked, this,
            [this, segment] { navigate(segment); });
  connect(interface.home, &QToolButton::clicked, this, &HelpViewer::goHome);
  m_typing.setSingleShot(true);
  m_typing.setInterval(TYPING_MS);
  connect(m_search, &QLineEdit::textEdited, &m_typing, qOverload<>(&QTimer::start));
  connect(m_search, &QLineEdit::returnPressed, this, &HelpViewer::search);
  connect(&m_typing, &QTimer::timeout, this, &HelpViewer::search);
  addShortcuts();
  refreshButtons();
  m_viewer->setFocus();
}

void HelpViewer::addShortcuts() {
  const auto on = [this](QKeySequence::StandardKey key, auto action) {
    for (const QKeySequence& keys : QKeySequence::keyBindings(key))
      connect(new QShortcut(keys, m_window), &QShortcut::activated, this, action);
  };
  on(QKeySequence::Close, [this] { m_window->close(); });
  on(QKeySequence::Back, [this] { navigate(0); });
  on(QKeySequence::Forward, [this] { navigate(1); });
  on(QKeySequence::Find, [this] {
    m_search->setFocus(Qt::ShortcutFocusReason);
    m_search->selectAll();
  });
  on(QKeySequence::ZoomIn, [this] { zoom(1); });
  on(QKeySequence::ZoomOut, [this] { zoom(-1); });
  connect(new QShortcut(Qt::CTRL | Qt::Key_0, m_window), &QShortcut::activated, this, [this] { zoom(-m_zoom); });
  connect(new QShortcut(Qt::ALT | Qt::Key_Home, m_window), &QShortcut::activated, this, &HelpViewer::goHome);
}

void HelpViewer::windowWillClose() {
  if (!m_viewer && !m_window) return;
  if (m_viewer) m_viewer->disconnect(this);
  m_viewer = nullptr;
  m_window = nullptr;
  m_typing.stop();
  if (shared().get() == this) setShared(nullptr);
}

QUrl HelpViewer::url() const {
  return m_viewer ? m_viewer->url() : QUrl();
}

void HelpViewer::load(const QUrl& url) {
  if (!m_viewer || url.isEmpty()) return;
  m_viewer->load(url);
  refreshButtons();
}

void HelpViewer::refreshButtons() {
  if (!m_viewer) return;
  m_navigate[0]->setEnabled(m_viewer->canGoBack());
  m_navigate[1]->setEnabled(m_viewer->canGoForward());
}

void HelpViewer::navigate(int segment) {
  if (!m_viewer) return;
  if (segment == 1 && m_viewer->canGoForward()) m_viewer->goForward();
  if (segment == 0 && m_viewer->canGoBack()) m_viewer->goBack();
  refreshButtons();
}

void HelpViewer::goHome() {
  load(m_home);
}

void HelpViewer::search() {
  m_typing.stop();
  if (m_viewer) m_viewer->search(m_search->text());
}

void HelpViewer::zoom(int steps) {
  m_zoom = qBound(-MAX_ZOOM_STEPS, m_zoom + steps, MAX_ZOOM_STEPS);
  m_viewer->setZoom(std::pow(ZOOM_STEP, m_zoom));
}

bool HelpViewer::decidePolicy(const QUrl& url) {
  if (HelpPages().contains(url)) return true;
  if (isOfPages(url)) return false;
  const bool isFlood = m_opened.isValid() && m_opened.elapsed() < OPENING_MS;
  m_opened.start();
  if (!isFlood) openURL(url, "HelpViewer");
  return false;
}

bool HelpViewer::eventFilter(QObject* object, QEvent* event) {
  const auto self = weak_from_this().lock();  // closing may release the last reference
  if (event->type() == QEvent::Close) windowWillClose();
  return QObject::eventFilter(object, event);
}

}  // namespace corvane
