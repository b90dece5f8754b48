#pragma once

#include <array>
#include <string_view>

namespace corvane::inspector {

/// The special characters, in two sets.
struct Glyphs {
  std::array<std::string_view, 8> bars;  ///< from the lowest to the highest
  std::string_view micro;
  std::string_view degree;
  std::string_view up;
  std::string_view down;
  std::string_view rule;
  std::string_view treeLine;  ///< beside the rows of a branch
  std::string_view treeBranch;
  std::string_view treeEnd;  ///< the last branch
  bool ascii;                ///< whether only ASCII may be shown

  static const Glyphs UNICODE;
  static const Glyphs ASCII;

  /// The set that the current locale's encoding can show.
  static const Glyphs& ofLocale();
};

}  // namespace corvane::inspector
