#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "apps/inspector/live/Page.h"
#include "apps/inspector/live/Scroll.h"
#include "apps/inspector/model/Machine.h"
#include "apps/inspector/text/Glyphs.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// The page about who keeps the machine awake. It asks only while it is shown.
class PowerPage : public Page {
 public:
  /// `changed` is called when there are new records.
  PowerPage(Machine& machine, const Glyphs& glyphs, std::function<void()> changed);

  /// Takes new records, or the reason why there are none.
  void take(Result<std::vector<AssertionRecord>> records);

  void open() override;
  void close() override;
  bool press(int pressed) override { return m_scroll.press(pressed); }
  Line title(std::size_t columns) const override;
  Frame draw(std::size_t rows, std::size_t columns) override;

 private:
  Line row(const AssertionRecord& record, std::size_t columns) const;

  Machine& m_machine;
  const Glyphs& m_glyphs;
  const std::function<void()> m_changed;
  std::shared_ptr<void> m_feed;  // while the page is shown
  std::vector<AssertionRecord> m_records;
  std::string m_note;  // shown if there are no records
  Scroll m_scroll{Scroll::Start::BEGINNING};
};

}  // namespace corvane::inspector
