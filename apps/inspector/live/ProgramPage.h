#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "apps/inspector/live/Page.h"
#include "apps/inspector/model/Source.h"
#include "apps/inspector/text/Glyphs.h"

namespace corvane::inspector {

/// A page about the program: its title names another one, and the hints give way to the news that it is not there.
class ProgramPage : public Page {
 public:
  Frame prompt(std::size_t columns) const override;

 protected:
  ProgramPage(std::string_view name, std::span<const Hint> hints, std::span<const Hint> help, Source& source,
              const Glyphs& glyphs)
      : Page(name, hints, help), m_source(source), m_glyphs(glyphs) {}

  /// A title; with the program's name if it is another one.
  std::string titled(std::string_view title) const;

  /// Whether what is shown is older than the last second.
  bool isOld() const { return m_source.presence() != Presence::HERE; }

  Source& m_source;
  const Glyphs& m_glyphs;
};

}  // namespace corvane::inspector
