#pragma once

#include <string>

#include "apps/inspector/live/ProgramPage.h"
#include "apps/inspector/model/RepeaterTable.h"
#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The first page: the readings with their graphs, and the repeaters.
class OverviewPage : public ProgramPage {
 public:
  OverviewPage(Source& source, const Glyphs& glyphs);

  RepeaterTable& table() { return m_table; }
  const RepeaterTable& table() const { return m_table; }

  bool press(int pressed) override;
  Line title(std::size_t columns) const override;
  Frame draw(std::size_t rows, std::size_t columns) override;
  Frame prompt(std::size_t columns) const override;

 private:
  bool moveBy(int pressed);
  bool control(int pressed);
  Frame readings(std::size_t rows, std::size_t columns) const;
  Line reading(std::size_t index, std::size_t columns) const;
  std::string shortReading(std::size_t index, std::size_t columns) const;
  Frame tableLines(std::size_t rows, std::size_t columns) const;
  Line tableRow(const RepeaterRow& row, std::size_t columns) const;

  const std::string m_host;
  RepeaterTable m_table;
  std::string m_message;  // shown until the next key
};

}  // namespace corvane::inspector
