#pragma once

#include <concepts>
#include <cstdint>
#include <utility>

#include "corvane/core/fatal.h"

namespace corvane {

/// 64-bit arithmetic in which an overflow is fatal.
constexpr std::int64_t checkedAdd(std::int64_t a, std::int64_t b) {
  std::int64_t result = 0;
  if (__builtin_add_overflow(a, b, &result)) fatal("overflow in a 64-bit addition");
  return result;
}
constexpr std::int64_t checkedSub(std::int64_t a, std::int64_t b) {
  std::int64_t result = 0;
  if (__builtin_sub_overflow(a, b, &result)) fatal("overflow in a 64-bit subtraction");
  return result;
}
constexpr std::int64_t checkedMul(std::int64_t a, std::int64_t b) {
  std::int64_t result = 0;
  if (__builtin_mul_overflow(a, b, &result)) fatal("overflow in a 64-bit multiplication");
  return result;
}

/// The 64-bit integer that a number truncates to; fatal where there is none.
template <class Number>
constexpr std::int64_t checkedInt64(Number number) {
  if constexpr (std::integral<Number>) {
    if (!std::in_range<std::int64_t>(number)) fatal("the integer does not fit 64 bits");
  } else {
    // Both bounds are powers of two and therefore exact as a double; NaN fails the comparison.
    if (!(number >= -0x1p63 && number < 0x1p63)) fatal("the number is not finite or out of range");
  }
  return static_cast<std::int64_t>(number);
}

}  // namespace corvane
