#pragma once

#include <memory>
#include <string>
#include <vector>

#include "apps/inspector/model/AttachedSource.h"
#include "apps/inspector/model/Source.h"
#include "apps/inspector/window/Page.h"
#include "corvane/core/Repeater.h"
#include "corvane/ui/ScreenWindow.h"

class QListWidget;
class QStackedWidget;

namespace corvane::inspector {

class MessageBar;
class ProgramChooser;

/// The Inspector's window: the chosen program at the top, the pages' names at the side, and one of the pages.
class MainWindow : public ScreenWindow {
  Q_OBJECT

 public:
  /// Shows this program, with the page of this id, else with the one shown last. The source must outlive the window.
  /// With the address of a page for donations, About leads to it.
  explicit MainWindow(Source& source, const QString& page = {}, std::string donationPage = {});
  ~MainWindow() override;

  /// Shows the page with this id, which is made when it is shown first; false if there is none.
  bool showPage(const QString& id);

  /// Looks at the running program with this name or process id as soon as it is found, or tells that it is not.
  void attach(const std::string& program);

  /// Shows the window in front of others, and with the focus, as far as the desktop allows it.
  void bringToFront();

 protected:
  bool event(QEvent* event) override;
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void makeBody();
  void makeMenus();
  void drawIcons();
  void fillPageMenu();
  void choose(int row);
  void showRow(int row);
  Page* current() const;
  void noteVisibility();
  void lookAt(const std::optional<ProgramIdentity>& program);
  void notePresence();
  Source& source() { return m_attached ? *m_attached : m_own; }
  void showShortcuts();
  void showAbout();
  void showDonation();

  Source& m_own;
  std::unique_ptr<AttachedSource> m_attached;  // null: this program is shown
  const std::string m_donationPage;
  ProgramChooser* m_chooser;
  MessageBar* m_message;
  Presence m_presence = Presence::HERE;  // that is told
  int m_silence = 0;                     // seconds without an answer
  QListWidget* m_list;
  QStackedWidget* m_stack;
  QMenu* m_pageMenu = nullptr;
  std::vector<Page*> m_pages;  // null until shown
  const std::shared_ptr<Repeater> m_clock;
};

}  // namespace corvane::inspector
