#pragma once

#include <array>
#include <memory>
#include <string>

#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageParts.h"
#include "apps/inspector/window/PageTable.h"
#include "corvane/ui/RowModel.h"

namespace corvane::inspector {

/// The queues of the program: what waits in them, what runs, and what held up the main queue in the last minute. While
/// the page is seen, the program's activity is recorded.
class QueuesPage : public Page {
  Q_OBJECT

 public:
  explicit QueuesPage(Source& source, QWidget* parent = nullptr);

 protected:
  void appear() override;
  void disappear() override { m_feed.reset(); }

 private:
  template <class Row>
  struct LabelOf {
    const std::string& operator()(const Row& row) const { return row.label; }
  };
  using Queues = RowModel<QueueState, LabelOf<QueueState>>;
  using Timers = RowModel<TimerState, LabelOf<TimerState>>;

  static std::vector<RowColumn<QueueState>> queueColumns();
  static std::vector<RowColumn<TimerState>> timerColumns();
  QWidget* makeMain();
  void take(Result<QueueStates> states);

  Queues m_queues;
  Timers m_timers;
  MessageBar* m_message;
  QLabel *m_waiting, *m_running, *m_longestWait, *m_longestItem;
  PageTable* m_queueTable;
  PageTable* m_timerTable;
  std::shared_ptr<void> m_feed;
};

}  // namespace corvane::inspector
