// Numbers as text without a temporary string: the digits are written into a
// small buffer from the last one backwards and handed out as one view.
// Every number of every report line goes through here.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace vk {

class number_text {
 public:
  // Zero-filled lower-case hexadecimal of at least `width` digits, no prefix.
  // All sixteen digits are made eight at a time, then the leading zeros not
  // asked for are left out.
  static number_text hex(uint64_t value, int width = 0) {
    number_text text;
    text.m_start -= 16;
    put_hex8(&text.m_chars[text.m_start], static_cast<uint32_t>(value >> 32));
    put_hex8(&text.m_chars[text.m_start + 8], static_cast<uint32_t>(value));
    const int digits = value == 0 ? 1 : (std::bit_width(value) + 3) / 4;
    text.m_start += static_cast<size_t>(16 - std::max(digits, std::min(width, 16)));
    text.fill_to(width);
    return text;
  }

  // Zero-filled decimal of at least `width` digits.
  static number_text dec(uint64_t value, int width = 0) {
    number_text text;
    while (value >= 100) {
      text.push_pair(static_cast<unsigned>(value % 100));
      value /= 100;
    }
    if (value >= 10) {
      text.push_pair(static_cast<unsigned>(value));
    } else {
      text.push(static_cast<char>('0' + value));
    }
    text.fill_to(width);
    return text;
  }

  // Decimal with a leading "-" for negative values.
  static number_text signed_dec(int64_t value) {
    const bool negative = value < 0;
    // The magnitude of INT64_MIN does not fit int64_t; it does fit uint64_t.
    const uint64_t magnitude = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    number_text text = dec(magnitude);
    if (negative) text.push('-');
    return text;
  }

  // Puts `prefix` ("0x") before the digits.
  number_text& prefixed(std::string_view prefix) {
    for (size_t i = prefix.size(); i-- > 0;) push(prefix[i]);
    return *this;
  }

  std::string_view view() const { return {m_chars.data() + m_start, m_chars.size() - m_start}; }

 private:
  static constexpr std::string_view digit_pairs =
      "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
      "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
      "8081828384858687888990919293949596979899";

  void push(char c) { m_chars[--m_start] = c; }
  // The eight hexadecimal digits of `value`, most significant first: each
  // nibble spread to a byte of its own, then turned into its digit in every
  // byte at once ('0' + n, and 39 more for n above 9, giving 'a' to 'f').
  static void put_hex8(char* out, uint32_t value) {
    uint64_t spread = value;
    spread = (spread | spread << 16) & 0x0000FFFF0000FFFFULL;
    spread = (spread | spread << 8) & 0x00FF00FF00FF00FFULL;
    spread = (spread | spread << 4) & 0x0F0F0F0F0F0F0F0FULL;
    // Now the lowest nibble is in the lowest byte; the text wants it last.
    const uint64_t above_nine = ((spread + 0x0606060606060606ULL) >> 4) & 0x0101010101010101ULL;
    const uint64_t digits = spread + 0x3030303030303030ULL + above_nine * 39;
    if constexpr (std::endian::native == std::endian::little) {
      const uint64_t in_order = __builtin_bswap64(digits);
      std::memcpy(out, &in_order, sizeof in_order);
    } else {
      std::memcpy(out, &digits, sizeof digits);
    }
  }
  void push_pair(unsigned pair) {
    push(digit_pairs[2 * pair + 1]);
    push(digit_pairs[2 * pair]);
  }
  // Widths past the buffer's room for padding are cut to it; no caller asks
  // for more than 16 digits.
  void fill_to(int width) {
    const size_t wanted = static_cast<size_t>(std::clamp(width, 0, static_cast<int>(max_width)));
    while (m_chars.size() - m_start < wanted) push('0');
  }

  // Zero fill up to 32 digits, and room for a sign or a short prefix.
  static constexpr size_t max_width = 32;
  // Only the written tail is ever read, so the buffer is left uninitialised.
  std::array<char, max_width + 8> m_chars;
  size_t m_start = m_chars.size();
};

}  // namespace vk
