#pragma once

#include <QLabel>
#include <memory>

#include "apps/inspector/window/DesktopGraphs.h"
#include "apps/inspector/window/OverviewGraphs.h"
#include "apps/inspector/window/Page.h"

class QActionGroup;

namespace corvane::inspector {

/// The machine's readings as graphs, in the window and, if the user likes, on the desktop.
class OverviewPage : public Page {
  Q_OBJECT

 public:
  explicit OverviewPage(Source& source, QWidget* parent = nullptr);

 protected:
  void refresh() override;

 private:
  QWidget* makeHeader();
  void makeSpans();
  void setSpan(int minutes);
  void showOnDesktop(bool isShown);

  QLabel* m_host;
  QLabel* m_uptime;
  QActionGroup* m_spans;
  OverviewGraphs* m_graphs;
  std::unique_ptr<DesktopGraphs> m_onDesktop;  // null: they are not there
};

}  // namespace corvane::inspector
