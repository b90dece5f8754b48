#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "apps/inspector/text/Frame.h"

namespace corvane::inspector {

/// A key and what it does.
struct Hint {
  std::string_view key;
  std::string_view text;
};

/// A page of the live view: it takes keys (see terminal/Keys.h) and draws lines for a screen of any size.
class Page {
 public:
  virtual ~Page() = default;

  /// Called when the page is shown, and when it is left.
  virtual void open() {}
  virtual void close() {}

  /// Handles a key; false if it has no meaning here.
  virtual bool press(int pressed) = 0;

  /// The first line, to match the last draw().
  virtual Line title(std::size_t columns) const = 0;

  /// The lines below the title; further lines are cut off.
  virtual Frame draw(std::size_t rows, std::size_t columns) = 0;

  /// Replaces the hints, with a question or a message. Usually empty.
  virtual Frame prompt(std::size_t /*columns*/) const { return {}; }

  std::string_view name() const { return m_name; }
  std::span<const Hint> hints() const { return m_hints; }
  std::span<const Hint> help() const { return m_help; }

 protected:
  /// `hints` are the keys in a few words, the most important first: narrow screens show as many as fit. `help` explains
  /// all the page's keys, for the help page. Both must outlive the page.
  Page(std::string_view name, std::span<const Hint> hints, std::span<const Hint> help)
      : m_name(name), m_hints(hints), m_help(help) {}

 private:
  const std::string_view m_name;
  const std::span<const Hint> m_hints;
  const std::span<const Hint> m_help;
};

/// A page between its title and its hints, on a screen of this size.
Frame compose(Page& page, std::size_t rows, std::size_t columns);

/// As many of the hints as fit into one line, from the first.
Line hintLine(std::span<const Hint> hints, std::size_t columns);

}  // namespace corvane::inspector
