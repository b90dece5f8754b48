#pragma once

#include <memory>
#include <string>
#include <vector>

#include "apps/inspector/model/Source.h"
#include "apps/inspector/window/Page.h"
#include "corvane/core/Repeater.h"
#include "corvane/ui/ScreenWindow.h"

class QListWidget;
class QStackedWidget;

namespace corvane::inspector {

/// The Inspector's window: the pages' names at the side, and one of the pages.
class MainWindow : public ScreenWindow {
  Q_OBJECT

 public:
  /// With the page of this id, else with the one shown last. The source must outlive the window. With the address of a
  /// page for donations, About leads to it.
  explicit MainWindow(Source& source, const QString& page = {}, std::string donationPage = {});
  ~MainWindow() override;

  /// Shows the page with this id, which is made when it is shown first; false if there is none.
  bool showPage(const QString& id);

  /// Shows the window in front of others, and with the focus, as far as the desktop allows it.
  void bringToFront();

 protected:
  bool event(QEvent* event) override;
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void makeMenus();
  void drawIcons();
  void fillPageMenu();
  void choose(int row);
  void showRow(int row);
  Page* current() const;
  void noteVisibility();
  void showShortcuts();
  void showAbout();
  void showDonation();

  Source& m_source;
  const std::string m_donationPage;
  QListWidget* m_list;
  QStackedWidget* m_stack;
  QMenu* m_pageMenu = nullptr;
  std::vector<Page*> m_pages;  // null until shown
  const std::shared_ptr<Repeater> m_clock;
};

}  // namespace corvane::inspector
