// Small text helpers shared by every layer: case folding of map keys,
// number formatting and UTF-16 name conversion.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vk {

// Byte-by-byte ASCII lower-casing, as used for every map key built from a name.
std::string to_lower(std::string_view text);

// Removes leading and trailing characters found in `chars`.
std::string trim(std::string_view text, std::string_view chars = " \t\r\n");

// Replaces every occurrence of `from` (non-empty) by `to`.
std::string replace_all(std::string_view text, std::string_view from, std::string_view to);

// Zero-filled lower-case hexadecimal of at least `width` digits, no prefix.
std::string hex(uint64_t value, int width = 0);

// Zero-filled decimal of at least `width` digits.
std::string dec(uint64_t value, int width = 0);
// The same, appended to `out` without a temporary.
void append_dec(std::string& out, uint64_t value, int width = 0);

// Converts `units` UTF-16LE code units starting at bytes[0] to UTF-8.  Units
// past the end of `bytes` are not read.  Unpaired surrogates become U+FFFD;
// every other code point, control characters included, is kept.
std::string utf16le_to_utf8(std::span<const uint8_t> bytes, size_t units);

// The reverse, for names that must be compared with on-disk UTF-16.
std::u16string utf8_to_utf16(std::string_view text);

}  // namespace vk
