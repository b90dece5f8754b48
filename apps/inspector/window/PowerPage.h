#pragma once

#include <QDateTime>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "apps/inspector/model/Assertions.h"
#include "apps/inspector/window/Page.h"
#include "apps/inspector/window/PageTable.h"
#include "corvane/ui/RowModel.h"

class QLabel;

namespace corvane::inspector {

/// Who keeps the machine awake, and who has begun and stopped doing so while the page was seen.
class PowerPage : public Page {
  Q_OBJECT

 public:
  explicit PowerPage(Source& source, QWidget* parent = nullptr);

 protected:
  void appear() override;
  void disappear() override;

 private:
  using Record = AssertionRecord;
  struct KeyOf {
    using Key = std::tuple<std::int32_t, std::string, std::string>;
    Key operator()(const Record& row) const { return {row.pid, row.type, row.name.value_or("")}; }
  };
  struct Event {
    std::int64_t number = 0;
    QDateTime time;
    bool isTaken = false;
    Record record;
  };
  struct NumberOf {
    std::int64_t operator()(const Event& event) const { return event.number; }
  };

  static std::vector<RowColumn<Record>> columns();
  static std::vector<RowColumn<Event>> eventColumns();
  void take(Result<std::vector<Record>> records);
  void addEvents(const AssertionChanges& changes);

  RowModel<Record, KeyOf> m_model;
  RowModel<Event, NumberOf> m_eventModel;
  PageTable* m_table;
  PageTable* m_eventTable;
  std::shared_ptr<void> m_feed;                // while the page is seen
  std::optional<std::vector<Record>> m_known;  // since the page is seen
  std::vector<Event> m_events;                 // the latest first
};

}  // namespace corvane::inspector
