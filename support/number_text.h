// Numbers as text without a temporary string: the digits are written into a
// small buffer from the last one backwards and handed out as one view.
// Every number of every report line goes through here.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace vk {

class number_text {
 public:
  // Zero-filled lower-case hexadecimal of at least `width` digits, no prefix.
  static number_text hex(uint64_t value, int width = 0) {
    number_text text;
    do {
      text.push(hex_digits[value & 0x0F]);
      value >>= 4;
    } while (value != 0);
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
  static constexpr std::string_view hex_digits = "0123456789abcdef";
  static constexpr std::string_view digit_pairs =
      "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
      "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
      "8081828384858687888990919293949596979899";

  void push(char c) { m_chars[--m_start] = c; }
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
