#pragma once

#include <cstdint>

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

}  // namespace corvane
