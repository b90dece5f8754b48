#pragma once

#include <string>

#include "apps/inspector/live/Page.h"
#include "apps/inspector/model/RepeaterTable.h"
#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// The first page: the readings with their graphs, and the repeaters.
class OverviewPage : public Page {
 public:
  OverviewPage(Source& source, const Glyphs& glyphs);

  RepeaterTable& table() { return m_table; }
  const RepeaterTable& table() const { return m_table; }

  bool press(int pressed) override;
  Line title(std::size_t columns) const override;
  Frame draw(std::size_t rows, std::size_t columns) override;

 private:
  bool moveBy(int pressed);
  Frame readings(std::size_t rows, std::size_t columns) const;
  Line reading(std::size_t index, std::size_t columns) const;
  std::string shortReading(std::size_t index, std::size_t columns) const;
  Frame tableLines(std::size_t rows, std::size_t columns) const;
  Line tableRow(const RepeaterRow& row, std::size_t columns) const;

  Source& m_source;
  const Glyphs& m_glyphs;
  const std::string m_host;
  RepeaterTable m_table;
};

}  // namespace corvane::inspector
