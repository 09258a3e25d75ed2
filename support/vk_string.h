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
// The same, appended to `out`.
void append_lower(std::string& out, std::string_view text);
// <0, 0 or >0 as to_lower(a) orders before, with or after to_lower(b), byte
// by byte, without making either.
int compare_lowered(std::string_view a, std::string_view b);

// Removes leading and trailing characters found in `chars`.
std::string trim(std::string_view text, std::string_view chars = " \t\r\n");
// The same, in place: no second string is made.
void trim_in_place(std::string& text, std::string_view chars = " \t\r\n");

// Replaces every occurrence of `from` (non-empty) by `to`.
std::string replace_all(std::string_view text, std::string_view from, std::string_view to);

// Zero-filled lower-case hexadecimal of at least `width` digits, no prefix.
std::string hex(uint64_t value, int width = 0);

// Zero-filled decimal of at least `width` digits.
std::string dec(uint64_t value, int width = 0);
// The same, appended to `out` without a temporary.
void append_dec(std::string& out, uint64_t value, int width = 0);
void append_hex(std::string& out, uint64_t value, int width = 0);

// Converts `units` UTF-16LE code units starting at bytes[0] to UTF-8.  Units
// past the end of `bytes` are not read.  Unpaired surrogates become U+FFFD;
// every other code point, control characters included, is kept.
std::string utf16le_to_utf8(std::span<const uint8_t> bytes, size_t units);
// The same, appended to `out` without a temporary.
void append_utf16le_as_utf8(std::string& out, std::span<const uint8_t> bytes, size_t units);

// Characters that hide or reorder the text around them, or that drive a
// terminal: the C1 controls (U+0080 to U+009F; U+009B is a terminal's CSI),
// the zero-width characters and direction marks (U+200B to U+200F), the line
// and paragraph separators (U+2028, U+2029), the bidirectional embeddings
// and overrides (U+202A to U+202E: "invoice_<U+202E>fdp.exe" shows as
// "invoice_exe.pdf"), the word joiner, invisible operators, bidirectional
// isolates and deprecated format controls (U+2060 to U+206F), the Arabic
// letter mark (U+061C) and the zero-width no-break space or byte order mark
// (U+FEFF).
bool is_hidden_character(uint32_t code_point);

// Text from the evidence made safe to show: every C0 control character
// (U+0000 to U+001F) and DEL becomes "\x" and two lower-case hexadecimal
// digits, so an ESC in a name cannot drive the examiner's terminal and a NUL
// cannot cut a CSV or bodyfile line; every hidden character (above) becomes
// "\u" and four lower-case hexadecimal digits ("\u202e").  Everything else
// is kept as it is.
std::string escape_controls(std::string_view text);

// A file name in the form directory paths are built from and JSON Lines
// escape further: C0 controls and DEL escaped as above, and a backslash
// inside the name written "\x5c" as well.  A bare backslash in a shown path
// is then always a separator, and the name's exact bytes can be recovered
// from what is shown.  Hidden characters are kept (JSON writes them \uXXXX).
std::string display_name(std::string_view name);
void append_display_name(std::string& out, std::string_view name);

// A file name as the text, CSV, log2timeline and bodyfile layouts show it:
// the display name with every hidden character escaped "\uXXXX" too.  Since
// every backslash of the name is "\x5c", a "\u" is always an escape.  A
// path of display names is made visible so by escape_controls.
void append_visible_name(std::string& out, std::string_view name);

// The reverse, for names that must be compared with on-disk UTF-16.
std::u16string utf8_to_utf16(std::string_view text);

}  // namespace vk
