// Arithmetic on values read from evidence.  A hostile field can make any sum
// or product wrap round to a small number and pass a bounds test, so sums
// and products of on-disk values saturate at the top of the range instead.
#pragma once

#include <bit>
#include <cstdint>

namespace vk {

constexpr uint64_t saturating_add(uint64_t a, uint64_t b) { return b > UINT64_MAX - a ? UINT64_MAX : a + b; }

constexpr uint64_t saturating_mul(uint64_t a, uint64_t b) {
  return a != 0 && b > UINT64_MAX / a ? UINT64_MAX : a * b;
}

constexpr bool is_power_of_two(uint64_t value) { return std::has_single_bit(value); }

}  // namespace vk
