#include "corvane/ui/HelpViewer.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLibrary>
#include <QMessageBox>
#include <QScrollBar>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>
#include <QTimer>
#include <QToolButton>
#include <QUdpSocket>

#include "corvane/testing/FakePlatform.h"
#include "corvane/ui/HelpView.h"

namespace corvane {
namespace {

constexpr int LIMIT_MS = 30'000;  // for what takes a moment

// The engine needs many turns of the event loop: waits that sleep between them take seconds.
template <class Condition>
bool waitFor(Condition condition, int limit = LIMIT_MS) {
  QElapsedTimer timer;
  timer.start();
  for (QTimer tick; !condition(); QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents)) {
    if (timer.elapsed() > limit) return false;
    tick.start(10);
  }
  return true;
}
void wait(int time) {
  waitFor([] { return false; }, time);
}

// An application with help pages. What is tested here is the same with the web engine and without.
struct HelpViewerTest : testing::Test {
  HelpViewerTest() {
    qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");  // the tests may run as root
    fake.bundles->main.resources = folder.path().toStdString();
    fake.bundles->library = library;
    QDir(folder.path()).mkpath("Documentation/sub");
    write("index.html", "start page");
    write("end.html", "the end");
    write("sub/deep.html", "<a href='../index.html#there'>up</a>");
    write("../outside.html", "not a page");
    QFile::link(folder.filePath("outside.html"), folder.filePath("Documentation/link.html"));
  }
  ~HelpViewerTest() override {
    if (const auto viewer = HelpViewer::shared()) viewer->window()->close();
    wait(0);
  }

  void write(const QString& name, const QString& html) const {
    QFile file(folder.filePath("Documentation/" + name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(("<!DOCTYPE html><title>Page</title>" + html).toUtf8());
  }
  // The page that is shown, with the place in it.
  static std::string shown() {
    const auto viewer = HelpViewer::shared();
    if (!viewer) return "none";
    const QUrl url = viewer->url();
    return (url.fileName() + (url.hasFragment() ? '#' + url.fragment() : "")).toStdString();
  }
  static testing::AssertionResult shows(const std::string& page) {
    if (waitFor([&] { return shown() == page; })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "it shows " << shown() << " instead of " << page;
  }
  static testing::AssertionResult opens(const std::string& page) {
    HelpViewer::openPage(page);
    const auto result = shows(page.substr(page.find('/') + 1) + ".html");
    if (!HelpViewer::shared()) return result;
    wait(50);
    ScreenWindow& window = *HelpViewer::shared()->window();
    if (auto* const notice = window.findChild<QMessageBox*>()) {
      notice->close();
      window.activateWindow();  // without a window manager nobody gives it the focus that the notice had
      waitFor([] { return QApplication::focusWidget() != nullptr; });
    }
    return result;
  }
  // Follows the next link on the page.
  static void followNext() {
    QWidget* const view = QApplication::focusWidget();
    QTest::keyClick(view, Qt::Key_Tab);
    wait(50);
    QTest::keyClick(view, Qt::Key_Return);
  }
  static bool canNavigate(const char* button) {
    return HelpViewer::shared()->window()->findChild<QToolButton*>(button)->isEnabled();
  }
  std::vector<std::string> opened() const { return fake.workspace->callsSoFar(); }

  struct Link {
    QString link;         // its attributes
    std::string shown;    // the page that it leads to; empty if the viewer stays
    std::string outside;  // what is opened elsewhere
  };
  // Follows each of them, and then one that leads to the end.
  void follow(const std::vector<Link>& links) {
    for (int i = 0; const Link& link : links) {
      SCOPED_TRACE(link.link.toStdString());
      fake.workspace->calls.clear();
      const QString page = QString("links%1").arg(++i);
      write(page + ".html", QString("<a %1>one</a> <a href='end.html'>two</a>").arg(link.link));
      ASSERT_TRUE(opens(page.toStdString()));
      wait(300);
      followNext();
      if (!link.shown.empty()) {
        EXPECT_TRUE(shows(link.shown));
      } else {
        wait(300);
        followNext();
        EXPECT_TRUE(shows("end.html"));
      }
      const std::vector<std::string> expected(link.outside.empty() ? 0 : 1, "open " + link.outside);
      EXPECT_TRUE(waitFor([&] { return opened() == expected; })) << testing::PrintToString(opened());
    }
  }

  // Opens a page and enters a text into the search field.
  static void search(const QString& text) {
    auto& field = *HelpViewer::shared()->window()->findChild<QLineEdit*>("search");
    field.setText(text);
    QTest::keyClick(&field, Qt::Key_Return);
  }

  const BundleFiles library = platform().bundles().libraryBundle();
  FakePlatform fake;
  QTemporaryDir folder;
};

TEST_F(HelpViewerTest, OpensOnlyPagesOfTheFolder) {
  for (const char* page : {"nowhere", "", "sub", "../outside", "sub/../index", "link", "/etc/hostname"}) {
    HelpViewer::openPage(page);
    EXPECT_EQ(HelpViewer::shared(), nullptr) << page;
  }
  HelpViewer::openPage(folder.filePath("Documentation/index").toStdString());
  EXPECT_EQ(HelpViewer::shared(), nullptr);
  write("100% #1?.html", "odd name");
  EXPECT_TRUE(opens("100% #1?"));
}

TEST_F(HelpViewerTest, AnotherFolderTakesThePlaceOfTheResources) {
  QTemporaryDir other;
  ASSERT_TRUE(QFile::copy(folder.filePath("Documentation/end.html"), other.filePath("elsewhere.html")));
  HelpViewer::setFolder(other.path().toStdString());
  HelpViewer::openPage("end");
  EXPECT_EQ(HelpViewer::shared(), nullptr);
  EXPECT_TRUE(opens("elsewhere"));
  HelpViewer::shared()->window()->close();
  HelpViewer::setFolder("");
  EXPECT_TRUE(opens("end"));
}

TEST_F(HelpViewerTest, OneWindowGoesBackAndForward) {
  HelpViewer::openPage("end");
  const auto viewer = HelpViewer::shared();
  HelpViewer::openPage("sub/deep");
  ASSERT_TRUE(shows("deep.html"));
  EXPECT_EQ(HelpViewer::shared(), viewer);
  EXPECT_FALSE(canNavigate("forward"));
  viewer->navigate(0);
  EXPECT_TRUE(shows("end.html"));
  EXPECT_FALSE(canNavigate("back"));
  viewer->navigate(0);
  viewer->navigate(7);
  viewer->navigate(1);
  EXPECT_TRUE(shows("deep.html"));
  viewer->goHome();
  EXPECT_TRUE(shows("index.html"));
  EXPECT_TRUE(canNavigate("back"));
  viewer->window()->close();
  EXPECT_EQ(HelpViewer::shared(), nullptr);
  viewer->goHome();
  viewer->search();
  viewer->navigate(0);
  EXPECT_TRUE(opens("end"));
  EXPECT_FALSE(canNavigate("back"));
}

TEST_F(HelpViewerTest, LinksLeadWhereTheyMay) {
  follow({{"href='sub/deep.html'", "deep.html", {}},
          {"href='sub/../index.html#place'", "index.html#place", {}},
          {"href='#here'", "links3.html#here", {}},
          {"href='http://example.org/a%20b?c=d'", {}, "http://example.org/a%20b?c=d"},
          {"href='http://example.org/' target='_blank'", {}, "http://example.org/"},
          {"href='index.html' target='_blank'", "index.html", {}},
          {"href='mailto:a@example.org'", {}, "mailto:a@example.org"},
          {"href='../outside.html'", {}, {}},
          {"href='link.html'", {}, {}},
          {"href='file:///etc/hostname'", {}, {}},
          {"href='nowhere.html'", {}, {}},
          {"href='javascript:1'", {}, {}},
          {"href='data:text/html,x'", {}, {}}});
  EXPECT_TRUE(canNavigate("back"));
}

struct TextHelpViewerTest : HelpViewerTest {};

TEST_F(TextHelpViewerTest, HighlightsWhatIsInSight) {
  write("search.html", "<p>Stra<b>ße</b> STRASSE, cafe\u0301 CAFÉ" + QString("<p>needle").repeated(5000));
  ASSERT_TRUE(opens("search"));
  const auto& text = *HelpViewer::shared()->window()->findChild<QTextEdit*>();
  const auto found = [&] {
    QStringList texts;
    for (const auto& selection : text.extraSelections()) texts << selection.cursor.selectedText();
    return texts;
  };
  for (const auto& [wanted, expected] : {std::pair("strasse", QStringList{"Straße", "STRASSE"}),
                                         {"Cafe", {"cafe", "CAFÉ"}},
                                         {"", {}},
                                         {"nowhere", {}}}) {
    search(wanted);
    EXPECT_EQ(found(), expected) << wanted;
  }
  search("needle");
  ASSERT_TRUE(waitFor([&] {
    text.verticalScrollBar()->setValue(text.verticalScrollBar()->maximum());
    return found().size() > 5;
  }));
  EXPECT_LT(found().size(), 500);
  EXPECT_EQ(text.extraSelections().last().cursor.blockNumber(), 5000);
}

struct WebHelpViewerTest : HelpViewerTest {};

TEST_F(WebHelpViewerTest, WhatScriptsOpen) {
  write("note.zip", "");
  follow({{"href='' onclick=\"window.open('http://example.org/'); return false\"", {}, "http://example.org/"},
          {"href='' onclick=\"window.open('index.html'); return false\"", "index.html", {}},
          {"href=\"javascript:void(location='http://example.org/b')\"", {}, "http://example.org/b"},
          {"href='' onclick='f.submit(); return false'><form id=f action='http://example.org/c'></form><a",
           {},
           "http://example.org/c?"},
          {"href='note.zip'", {}, "file://" + folder.filePath("Documentation/note.zip").toStdString()}});
  fake.workspace->calls.clear();
  write("alone.html",
        "<iframe src='http://example.org/frame'></iframe><script>window.open('http://example.org/open');"
        "alert('still?'); for (let i = 0; i < 9; ++i) setTimeout(() => location = 'http://example.org/' + i,"
        "500 + i); setTimeout(() => location = 'end.html', 1500)</script>");
  ASSERT_TRUE(opens("alone"));
  EXPECT_TRUE(shows("end.html"));
  EXPECT_EQ(opened(), std::vector<std::string>{"open http://example.org/0"});
}

TEST_F(WebHelpViewerTest, NothingLeavesThePage) {
  QTcpServer server;
  QUdpSocket datagrams;
  ASSERT_TRUE(server.listen(QHostAddress::LocalHost) && datagrams.bind(QHostAddress::LocalHost));
  int count = 0;
  QObject::connect(&server, &QTcpServer::newConnection, [&] { ++count; });
  QObject::connect(&datagrams, &QUdpSocket::readyRead, [&] { ++count; });
  write("note.txt", "inside");
  write("net.html",
        QString(R"(
    PRECONNECT<link rel=prefetch href="http://HOST/a"><link rel=stylesheet href="http://HOST/b">
    <img src="http://HOST/c"><script src="http://HOST/d"></script><iframe src="http://HOST/e" name=e></iframe>
    <video src="http://HOST/f"></video><object data="http://HOST/g"></object><iframe src="../outside.html" id=o></iframe>
    <script>
      const tried = [fetch("http://HOST/h"), fetch("../outside.html"), fetch("link.html"), fetch("file:///etc/passwd"),
        fetch("./"), fetch("note.txt"), import("../outside.html")];
      navigator.sendBeacon("http://HOST/i", "x");
      new EventSource("http://HOST/j");
      new WebSocket("ws://HOST/k");
      const code = 'new WebSocket("ws://HOST/l"); fetch("http://HOST/m")';
      new Worker(URL.createObjectURL(new Blob([code])));
      try {
        const peer = new RTCPeerConnection({iceServers: [{urls: "stun:UDP"}]});
        peer.createDataChannel("x");
        peer.createOffer().then(offer => peer.setLocalDescription(offer));
      } catch (error) {}
      const read = result => result.value && result.value.text ? result.value.text().catch(() => "") : "";
      setTimeout(() => Promise.allSettled(tried).then(all => Promise.all(all.map(read))).then(texts => {
        try { texts.push(o.contentDocument.body.textContent) } catch (error) {}
        location.hash = texts.map(text => text.slice(-6)).join("") }), 2000);
    </script>)")
            .replace("PRECONNECT",
                     QT_VERSION < QT_VERSION_CHECK(6, 8, 0) ? "<link rel=preconnect href='http://HOST'>" : "")
            .replace("HOST", QString("127.0.0.1:%1").arg(server.serverPort()))
            .replace("UDP", QString("127.0.0.1:%1").arg(datagrams.localPort())));
  HelpViewer::openPage("net");
  EXPECT_TRUE(shows("net.html#inside"));
  EXPECT_EQ(count, 0);
}

TEST_F(WebHelpViewerTest, EndlessScriptsGiveWay) {
  write("loop.html", "<script>for (;;);</script>");
  ASSERT_TRUE(opens("loop"));
  ASSERT_TRUE(opens("end"));
  ASSERT_TRUE(canNavigate("back"));
  HelpViewer::shared()->navigate(0);
  EXPECT_TRUE(shows("loop.html"));
  HelpViewer::shared()->goHome();
  EXPECT_TRUE(shows("index.html"));
  EXPECT_TRUE(opens("loop"));
  HelpViewer::shared()->window()->close();
  EXPECT_TRUE(opens("end"));
}

#ifdef HELP_MODULE
TEST_F(WebHelpViewerTest, StopsAPageThatTakesTooLong) {
  write("loop.html", "<script>for (;;);</script>");
  const auto make = reinterpret_cast<MakeWebHelpView*>(QLibrary::resolve(HELP_MODULE, MAKE_WEB_HELP_VIEW));
  ASSERT_TRUE(make);
  std::string reason;
  const std::unique_ptr<HelpView> view(make({HelpPages(), [](const QUrl&) { return true; }, "", 1}, reason));
  ASSERT_TRUE(view) << reason;
  testing::internal::CaptureStderr();
  view->load(HelpPages::page("loop"));
  std::string said;
  waitFor([&] {
    return (said += testing::internal::GetCapturedStderr(), testing::internal::CaptureStderr(),
            said.find("stopped") != said.npos);
  });
  view->load(HelpPages::page("end"));
  EXPECT_TRUE(waitFor([&] { return view->url() == HelpPages::page("end"); }));
  testing::internal::GetCapturedStderr();
  EXPECT_TRUE(said.find("stopped loading file://") != said.npos) << said;
}
#endif

TEST_F(WebHelpViewerTest, SearchRunsTheScript) {
  write("search.html",
        "needle, Needle and it's<script>new MutationObserver(() => location.replace('#' +"
        "document.querySelectorAll('corvane-found').length)).observe(document.body, {childList: true,"
        "subtree: true})</script>");
  ASSERT_TRUE(opens("search"));
  wait(500);
  search("needle");
  EXPECT_TRUE(shows("search.html#2"));
  search("");
  EXPECT_TRUE(shows("search.html#0"));
  testing::internal::CaptureStdout();
  search("it's");
  search("Needle and");
  EXPECT_TRUE(shows("search.html#1"));
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(printed.starts_with("null\nSyntaxError: ")) << printed;
}

}  // namespace
}  // namespace corvane
