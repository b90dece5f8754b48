#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace corvane::inspector {

/// The order of a table's rows. As a word, it is the column's name, preceded by a dash if it is descending.
template <class AnyColumn>
struct Order {
  AnyColumn column;
  bool descending;
  bool operator==(const Order&) const = default;

  /// The order for a word, among the first `columns` columns; `nameOf` returns the name of each.
  template <class NameOf>
  static std::optional<Order> fromWord(std::string_view word, std::size_t columns, NameOf nameOf) {
    const bool descending = word.starts_with('-');
    if (descending) word.remove_prefix(1);
    for (std::size_t i = 0; i < columns; ++i)
      if (const auto column = static_cast<AnyColumn>(i); nameOf(column) == word) return Order{column, descending};
    return std::nullopt;
  }

  template <class NameOf>
  std::string word(NameOf nameOf) const {
    return std::string(descending ? "-" : "").append(nameOf(column));
  }
};

}  // namespace corvane::inspector
