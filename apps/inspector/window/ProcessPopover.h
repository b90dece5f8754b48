#pragma once

#include <QObject>
#include <memory>

#include "apps/inspector/model/Machine.h"
#include "apps/inspector/window/ProcessDetails.h"
#include "corvane/ui/Popover.h"

namespace corvane::inspector {

/// What is known about one process, read anew every second, in a bubble that can be dragged off into a window. Deletes
/// itself once it is closed.
class ProcessPopover : public QObject {
  Q_OBJECT

 public:
  ProcessPopover(Machine& machine, const ProcessRow& row, QObject* parent);

  bool isOf(const ProcessRow& row) const;

  /// Points at a place in a widget; raises the window instead, if it has become one.
  void show(QWidget& widget, const QRect& place);

 private:
  void take(const Result<std::vector<ProcessRow>>& rows);

  ProcessRow m_row;
  ProcessDetails* m_details;
  Popover m_popover;
  std::shared_ptr<void> m_feed;
};

}  // namespace corvane::inspector
