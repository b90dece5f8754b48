#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspector/model/ProcessSample.h"
#include "apps/inspector/terminal/Frame.h"
#include "apps/inspector/terminal/Glyphs.h"
#include "apps/inspector/text/ProcessColumn.h"
#include "corvane/platform/Result.h"

namespace corvane::inspector {

/// The page of all processes: their order, the filter, the one that the user stands on, and the questions before a
/// signal is sent. It takes rows and keys and gives frames; the only thing that it does by itself is to send signals.
class ProcessPage {
 public:
  explicit ProcessPage(const Glyphs& glyphs) : m_glyphs(glyphs) {}

  /// Takes a new sample, or why there is none. The selection stays with its process; if that one has ended or the
  /// filter hides it nothing is selected, so that no key meets another one.
  void take(Result<std::vector<ProcessRow>> rows);

  /// Forgets all but the order and the filter.
  void leave();

  /// False if the key means nothing here.
  bool press(int pressed);

  Frame compose(std::size_t rows, std::size_t columns);

  ProcessColumn column() const { return m_column; }
  bool descending() const { return m_descending; }
  void sortBy(ProcessColumn column, bool descending);

 private:
  // What the keys mean.
  enum class Mode { BROWSE, FILTER, CHOOSE_SIGNAL, CONFIRM };

  bool browse(int pressed);
  void typeFilter(int pressed);
  void confirm(int pressed);
  void send();
  bool moveBy(int pressed);
  void select(std::ptrdiff_t index);
  void arrange();
  std::string nameOf(const ProcessRow& row) const;
  std::string title() const;
  Line row(const ProcessRow& row, std::size_t columns) const;
  std::vector<Line> footer(bool withHints, std::size_t columns) const;

  const Glyphs& m_glyphs;
  std::vector<ProcessRow> m_rows;          // sorted
  std::vector<const ProcessRow*> m_shown;  // those of them that the filter lets through
  std::string m_failure;                   // why there are no rows
  ProcessColumn m_column = ProcessColumn::PROCESSOR;
  bool m_descending = true;
  std::string m_filter;
  std::optional<ProcessRow> m_selected;  // as it was seen last
  std::ptrdiff_t m_place = 0;            // where the selection is, or where it was lost
  std::ptrdiff_t m_first = 0;            // the first row on the screen
  std::ptrdiff_t m_height = 1;           // rows on the screen
  Mode m_mode = Mode::BROWSE;
  std::size_t m_signal = 0;            // which one is to be confirmed
  std::optional<ProcessRow> m_target;  // whom the questions are about
  std::string m_message;               // until the next key
};

}  // namespace corvane::inspector
