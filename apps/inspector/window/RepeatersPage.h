#pragma once

#include <string>

#include "apps/inspector/text/ViewSettings.h"
#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/PageTable.h"
#include "corvane/infra/Subscription.h"
#include "corvane/ui/NumberStepper.h"
#include "corvane/ui/RowModel.h"

namespace corvane::inspector {

/// The repeaters of a program: what they cost, and a halt for each if the program allows it.
class RepeatersPage : public Page {
  Q_OBJECT

 public:
  explicit RepeatersPage(Source& source, QWidget* parent = nullptr);

 protected:
  void appear() override;
  void disappear() override { m_changes.reset(); }
  void refresh() override;

 private:
  struct NameOf {
    const std::string& operator()(const RepeaterRow& row) const { return row.name; }
  };
  using Model = RowModel<RepeaterRow, NameOf>;

  static std::vector<RowColumn<RepeaterRow>> columns();
  bool isOfThisProgram() const;
  void addControls(QVBoxLayout* layout);
  void pause(bool pauses);
  void noteSelection();
  void takeStoredAverage();
  void setAverage(int seconds);

  Model m_model;
  QAction* m_pause;
  QAction* m_resume;
  QAction* m_reset;
  QLabel* m_note;  // why nothing can be changed
  MessageBar* m_message;
  PageTable* m_table;
  NumberStepper* m_average = nullptr;
  Subscription m_changes;  // of the settings, while the page is seen
};

}  // namespace corvane::inspector
