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

/// A page of the live view: it takes keys (see terminal/Keys.h) and gives lines, of whatever size the screen is.
class Page {
 public:
  virtual ~Page() = default;

  /// Called when the page comes onto the screen, and when it leaves it.
  virtual void open() {}
  virtual void close() {}

  /// Takes a key; false if it means nothing here.
  virtual bool press(int pressed) = 0;

  /// The first line, to match the last draw().
  virtual Line title(std::size_t columns) const = 0;

  /// What is shown below the title; further lines are cut off.
  virtual Frame draw(std::size_t rows, std::size_t columns) = 0;

  /// What takes the place of the hints: a question, a message. Usually nothing.
  virtual Frame prompt(std::size_t /*columns*/) const { return {}; }

  std::string_view name() const { return m_name; }
  std::span<const Hint> hints() const { return m_hints; }
  std::span<const Hint> help() const { return m_help; }

 protected:
  /// `hints` are the keys in a few words, the most needed first: narrow screens show as many as fit. `help` are all the
  /// page's keys in more words, for the page of help. Both must outlive the page.
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
