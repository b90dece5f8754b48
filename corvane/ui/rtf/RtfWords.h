#pragma once

#include <optional>
#include <string_view>

namespace corvane {

class RtfReader;

/// What the control words of rich text do.
struct RtfWords {
  struct Handler {
    void (*apply)(RtfReader& reader, std::optional<int> number) = nullptr;
    bool isDestination = false;  ///< whether it says where its group's text goes, and so is known even after \*
  };

  /// Null for a word that changes nothing.
  static const Handler* find(std::string_view word);

 private:
  struct Table;
};

}  // namespace corvane
