#pragma once

#include <QElapsedTimer>
#include <QLineEdit>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QToolButton>
#include <QUrl>
#include <array>
#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/ui/ScreenWindow.h"

namespace corvane {

class HelpView;

/// The window that shows an application's help pages, with buttons to go back, forward and to the start page, and a
/// field that highlights a text on the page. There is one at a time.
///
///     connect(action, &QAction::triggered, [] { HelpViewer::openPage("index"); });
///
/// The pages are the HTML files in the folder "Documentation" of the application's resources, with what they need:
/// style sheets, pictures, scripts, folders. "index.html" is the start page. See `RESOURCE_FOLDERS` of
/// corvane_application (CMake), and setFolder() for pages elsewhere.
///
/// **Where links lead**, whether they are clicked, followed by a script or a redirect, or open a new window:
///
/// | address | what happens |
/// |---|---|
/// | a file in the folder, symbolic links followed | the viewer shows it |
/// | any other file, and one that is missing | nothing |
/// | data:, javascript:, about:, blob: | nothing, as far as the page does not handle it itself |
/// | everything else: the web, mail | the user's application for it opens it; one in half a second at most |
///
/// What a page embeds (pictures, frames, scripts) comes from the folder or not at all, and nothing goes to the network
/// (with Qt 6.8 a page that says `<link rel="preconnect">` is connected to that host, which is sent nothing).
/// New windows that nobody has clicked for, dialogs of scripts, and what is dropped onto a page are ignored. A page
/// that takes longer than 60 s to load is stopped, and one whose script does not end gives way to the next one.
///
/// **The web view** is in a library of its own, libcorvane-help, which is loaded when the first page is opened, and
/// stays. If it is missing, or the engine behind it cannot run, pages are shown as formatted text, without scripts and
/// frames. One line in the log says why; if something has to be installed, a RuntimeNotice says so once. For root, the
/// engine runs only with QTWEBENGINE_DISABLE_SANDBOX=1 in the environment.
///
/// This object is the controller of its window(). Main thread.
class CORVANE_API HelpViewer : public QObject, public std::enable_shared_from_this<HelpViewer> {
  Q_OBJECT

 public:
  /// Shows a page, in the open viewer or a new one, and brings it to the front. The name has no extension, and a slash
  /// after each folder: "index", "files/save". Does nothing if there is no such page.
  static void openPage(const std::string& page);

  /// Takes the pages from a folder outside the application's resources, such as documentation that is installed apart;
  /// from the resources again if it is empty. For viewers that are opened from now on.
  static void setFolder(const std::string& folder);

  /// The open viewer; null if there is none.
  static std::shared_ptr<HelpViewer> shared();
  static void setShared(std::shared_ptr<HelpViewer> viewer);

  ~HelpViewer() override;

  /// Null once it has been closed. It is deleted then.
  ScreenWindow* window() const { return m_window; }

  /// The address of the page that is shown; empty until the first one is.
  QUrl url() const;

  /// Highlights every occurrence of the text in the search field, without regard to case and accents, and scrolls to
  /// the first one. For an empty text it removes the highlights. Happens on Return, and when the user stops typing.
  ///
  /// The web view evaluates "Help_HighlightAllOccurencesOfString('" + text + "')" as it stands, so a text with a quote
  /// is an error of the script: then the result, "null", and the error are printed on standard output.
  void search();

  /// Does nothing: the interface has a control for it, which is not shown.
  void searchNav() {}

  /// Loads the start page, if there is one.
  void goHome();

  /// Segment 0 goes back, segment 1 forward, if possible; others do nothing.
  void navigate(int segment);

 Q_SIGNALS:
  /// Another page, or another place in it, is shown; or one could not be loaded.
  void navigated();

 protected:
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  HelpViewer() = default;
  void windowDidLoad();
  void windowWillClose();
  void load(const QUrl& url);
  bool decidePolicy(const QUrl& url);
  void refreshButtons();
  void zoom(int steps);
  void addShortcuts();

  QPointer<ScreenWindow> m_window;
  std::array<QPointer<QToolButton>, 2> m_navigate;
  QPointer<QLineEdit> m_search;
  QPointer<QWidget> m_search_nav;
  QPointer<HelpView> m_viewer;
  QUrl m_home;
  QString m_search_js;
  QTimer m_typing;         // runs out when the user has stopped
  QElapsedTimer m_opened;  // since an address was to be opened elsewhere
  int m_zoom = 0;          // steps
};

}  // namespace corvane
