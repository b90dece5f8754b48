#pragma once

#include <string>
#include <utility>
#include <vector>

#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageTable.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/ui/RowModel.h"

class QLabel;

namespace corvane::inspector {

/// Who listens to what in this program, how long that takes, and what the program has written to its log.
class BroadcasterPage : public Page {
  Q_OBJECT

 public:
  explicit BroadcasterPage(Source& source, QWidget* parent = nullptr);

 protected:
  void refresh() override;

 private:
  struct KeyOf {
    using Key = std::pair<std::string, std::string>;
    Key operator()(const broadcaster_stats& row) const { return {row.key, row.listener}; }
  };
  using Model = RowModel<broadcaster_stats, KeyOf>;

  static std::vector<RowColumn<broadcaster_stats>> columns();

  Model m_model;
  PageTable* m_table;
  QLabel* m_log;
};

}  // namespace corvane::inspector
