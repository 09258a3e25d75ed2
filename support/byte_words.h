// Tests on eight bytes at once, for scanning text for the few bytes that need
// treatment (quoting, escaping) without a branch per byte.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace vk {

constexpr uint64_t byte_ones = 0x0101010101010101ULL;
constexpr uint64_t byte_highs = 0x8080808080808080ULL;

// `byte` in every byte of a word.
constexpr uint64_t repeated_byte(unsigned char byte) { return byte_ones * byte; }

// True when some byte of `word` is zero: a borrow reaches the high bit of a
// byte only where that byte was zero (or where a lower byte borrowed, which
// needs a zero byte below it).
constexpr bool has_zero_byte(uint64_t word) { return ((word - byte_ones) & ~word & byte_highs) != 0; }

// True when some byte of `word` is below `limit`, for limits up to 0x80.
constexpr bool has_byte_below(uint64_t word, unsigned char limit) {
  return ((word - repeated_byte(limit)) & ~word & byte_highs) != 0;
}

// The eight bytes of `text` from `at` (which the caller keeps in range).
inline uint64_t word_at(std::string_view text, size_t at) {
  uint64_t word = 0;
  std::memcpy(&word, text.data() + at, sizeof word);
  return word;
}

}  // namespace vk
