#pragma once

#include <string>

#include "apps/inspector/window/Page.h"
#include "corvane/infra/Broadcaster.h"
#include "corvane/ui/RowModel.h"
#include "corvane/ui/TableView.h"

namespace corvane::inspector {

/// Who listens to what in this program, and how long that takes.
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

  Model m_model;
  TableView* m_table;
};

}  // namespace corvane::inspector
