#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/live/Cursor.h"
#include "apps/inspector/live/Page.h"
#include "apps/inspector/model/Machine.h"
#include "apps/inspector/model/ProcessOrder.h"
#include "apps/inspector/text/Glyphs.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// The page of all processes: their order, the filter, the selection, and the questions before a signal is sent. It
/// reads the processes only while it is shown.
class ProcessPage : public Page {
 public:
  /// `changed` is called when there are new rows.
  ProcessPage(Machine& machine, const Glyphs& glyphs, std::function<void()> changed);

  ProcessColumn column() const { return m_column; }
  bool descending() const { return m_descending; }
  void sortBy(ProcessColumn column, bool descending);

  /// Takes new rows, or the reason why there are none. The selection stays with its process; if that process has ended
  /// or is hidden by the filter, nothing is selected, so that no key affects another process.
  void take(Result<std::vector<ProcessRow>> rows);

  void open() override;
  /// Forgets everything but the order and the filter; figures have to be asked for again.
  void close() override;
  bool press(int pressed) override;
  Line title(std::size_t columns) const override;
  Frame draw(std::size_t rows, std::size_t columns) override;
  Frame prompt(std::size_t columns) const override;

 private:
  // What the keys mean.
  enum class Mode { BROWSE, FILTER, CHOOSE_SIGNAL, CONFIRM };

  bool browse(int pressed);
  void typeFilter(int pressed);
  void confirm(int pressed);
  void send();
  bool moveBy(int pressed);
  void arrange();
  void follow();
  std::string nameOf(const ProcessRow& row) const;
  Line row(const ProcessRow& row, std::size_t columns) const;

  Machine& m_machine;
  const Glyphs& m_glyphs;
  const std::function<void()> m_changed;
  std::shared_ptr<void> m_feed;            // while the page is shown
  std::vector<ProcessRow> m_rows;          // sorted
  std::vector<const ProcessRow*> m_shown;  // those that pass the filter
  std::string m_failure;                   // why there are no rows
  ProcessColumn m_column = ProcessColumn::PROCESSOR;
  bool m_descending = true;
  std::string m_filter;
  bool m_hasFigures = false;             // and the columns for them
  std::optional<ProcessRow> m_selected;  // as last seen
  Cursor m_cursor;
  Mode m_mode = Mode::BROWSE;
  std::size_t m_signal = 0;            // the one to be confirmed
  std::optional<ProcessRow> m_target;  // the process that the questions are about
  std::string m_message;               // shown until the next key
};

}  // namespace corvane::inspector
