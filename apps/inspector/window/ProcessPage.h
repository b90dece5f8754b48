#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "apps/inspector/window/ExecutableIcons.h"
#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/PageTable.h"
#include "apps/inspector/window/ProcessDetails.h"
#include "apps/inspector/window/ProcessTreeView.h"
#include "corvane/ui/RowModel.h"

class QLineEdit;
class QStackedWidget;

namespace corvane::inspector {

/// All processes, as a table or as a tree, with what is known about the selected one.
class ProcessPage : public Page {
  Q_OBJECT

 public:
  explicit ProcessPage(Source& source, QWidget* parent = nullptr);

  QLineEdit* searchField() const override { return m_filter; }

  /// Writes the tree into a file, as a drawing if its name ends in ".svg", otherwise as a picture. Pictures are written
  /// in the background. What goes wrong is shown on the page.
  void savePicture(const QString& path);

 protected:
  void appear() override;
  void disappear() override;

 private:
  struct KeyOf {
    using Key = std::pair<pid_t, std::int64_t>;
    Key operator()(const ProcessRow& row) const { return {row.pid, row.started}; }
  };
  using Model = RowModel<ProcessRow, KeyOf>;
  using Rows = std::vector<ProcessRow>;

  std::vector<RowColumn<ProcessRow>> columns();
  void makeViewButtons(QHBoxLayout& bar);
  void makeActions();
  void makeSignals();
  void makeTreeActions();
  void connectAll();

  void follow();
  void take(Result<Rows> rows);
  void arrange();
  void showSelection();
  void selectInTable(pid_t pid);
  void showFigures(bool isShown);
  void showTree(bool isShown);

  Rows selectedRows() const;
  QModelIndex shownIndex() const;
  void showDetails();
  void askToSignal(int number);
  void sendSignal(const Rows& rows, int number);
  void copyCommands();
  void askForPicture();

  ExecutableIcons m_icons;
  Model m_model;
  PageTable* m_table;
  ProcessTreeView* m_tree;
  QStackedWidget* m_views;
  ProcessDetails* m_details;
  QLineEdit* m_filter;
  MessageBar* m_message;
  QAction* m_figuresAction;
  QAction* m_treeAction;
  Rows m_rows;                   // all of them
  bool m_hasFigures = false;     // and the columns for them
  bool m_isAsking = false;       // for them
  std::shared_ptr<void> m_feed;  // while the page is seen
  DispatchQueueSerial m_writing{"process picture", QoS::UTILITY};
};

}  // namespace corvane::inspector
