#include "support/vk_string.h"

#include <bit>
#include <cstring>

#include "support/byte_words.h"
#include "support/number_text.h"

namespace vk {

std::string to_lower(std::string_view text) {
  std::string out;
  append_lower(out, text);
  return out;
}

void append_lower(std::string& out, std::string_view text) {
  const size_t start = out.size();
  out.append(text);
  for (size_t i = start; i < out.size(); ++i) {
    if (out[i] >= 'A' && out[i] <= 'Z') out[i] = static_cast<char>(out[i] - 'A' + 'a');
  }
}

namespace {

unsigned char lowered_byte(char c) { return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); }

// Eight bytes ASCII lower-cased at once: a byte whose low seven bits lie in
// 'A'..'Z' and whose high bit is clear gets bit 5 set.  The additions stay
// within each byte (at most 0x7F + 0x3F), so no byte carries into the next.
constexpr uint64_t lowered_word(uint64_t word) {
  const uint64_t low_bits = word & ~byte_highs;
  const uint64_t from_a = low_bits + repeated_byte(0x80 - 'A');
  const uint64_t past_z = low_bits + repeated_byte(0x80 - 'Z' - 1);
  const uint64_t upper = from_a & ~past_z & ~word & byte_highs;
  return word | upper >> 2;
}

int compare_bytes_lowered(std::string_view a, std::string_view b, size_t from, size_t common) {
  for (size_t i = from; i < common; ++i) {
    const unsigned char x = lowered_byte(a[i]), y = lowered_byte(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}

}  // namespace

int compare_lowered(std::string_view a, std::string_view b) {
  const size_t common = a.size() < b.size() ? a.size() : b.size();
  size_t at = 0;
  // Names of one folder share long prefixes in one case: eight bytes are
  // compared at once, and folded only where they differ.
  if constexpr (std::endian::native == std::endian::little) {
    for (; at + sizeof(uint64_t) <= common; at += sizeof(uint64_t)) {
      const uint64_t x = word_at(a, at), y = word_at(b, at);
      if (x == y) continue;
      const uint64_t lx = lowered_word(x), ly = lowered_word(y);
      if (lx == ly) continue;
      // The first byte in the text is the word's lowest.
      const int shift = std::countr_zero(lx ^ ly) & ~7;
      return ((lx >> shift) & 0xFF) < ((ly >> shift) & 0xFF) ? -1 : 1;
    }
  }
  if (const int order = compare_bytes_lowered(a, b, at, common); order != 0) return order;
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

std::string trim(std::string_view text, std::string_view chars) {
  const size_t first = text.find_first_not_of(chars);
  if (first == std::string_view::npos) return {};
  const size_t last = text.find_last_not_of(chars);
  return std::string(text.substr(first, last - first + 1));
}

void trim_in_place(std::string& text, std::string_view chars) {
  // Past the last kept character (0 when none is kept), then up to the first.
  text.erase(text.find_last_not_of(chars) + 1);
  text.erase(0, text.find_first_not_of(chars));
}

std::string replace_all(std::string_view text, std::string_view from, std::string_view to) {
  std::string out;
  if (from.empty()) return std::string(text);
  size_t pos = 0;
  for (size_t hit; (hit = text.find(from, pos)) != std::string_view::npos; pos = hit + from.size()) {
    out.append(text.substr(pos, hit - pos));
    out.append(to);
  }
  out.append(text.substr(pos));
  return out;
}

std::string hex(uint64_t value, int width) { return std::string(number_text::hex(value, width).view()); }

std::string dec(uint64_t value, int width) { return std::string(number_text::dec(value, width).view()); }

void append_dec(std::string& out, uint64_t value, int width) { out += number_text::dec(value, width).view(); }

void append_hex(std::string& out, uint64_t value, int width) { out += number_text::hex(value, width).view(); }

bool is_hidden_character(uint32_t code_point) {
  return (code_point >= 0x80 && code_point <= 0x9F) || code_point == 0x061C ||
         (code_point >= 0x200B && code_point <= 0x200F) || (code_point >= 0x2028 && code_point <= 0x202E) ||
         (code_point >= 0x2060 && code_point <= 0x206F) || code_point == 0xFEFF;
}

namespace {

// What a text's escape form covers besides C0 controls and DEL.
struct escape_set {
  bool backslash;
  bool hidden;
};

// Every hidden character is two or three bytes of UTF-8 led by one of these.
constexpr unsigned char c1_lead = 0xC2, arabic_lead = 0xD8, punctuation_lead = 0xE2, specials_lead = 0xEF;

bool is_control(unsigned char byte) { return byte < 0x20 || byte == 0x7F; }

// True when no byte of `word` is a control, an escaped backslash or the lead
// byte of a hidden character: the whole word goes across.  Names in any
// script but Arabic mostly pass this test eight bytes at a time.
bool is_plain_word(uint64_t word, escape_set set) {
  if (has_byte_below(word, 0x20) || has_zero_byte(word ^ repeated_byte(0x7F))) return false;
  if (set.backslash && has_zero_byte(word ^ repeated_byte('\\'))) return false;
  if (!set.hidden || (word & byte_highs) == 0) return true;
  for (const unsigned char lead : {c1_lead, arabic_lead, punctuation_lead, specials_lead})
    if (has_zero_byte(word ^ repeated_byte(lead))) return false;
  return true;
}

bool is_continuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

struct escape_step {
  size_t length = 0;  // bytes escaped; 0 when the byte at hand goes across
  uint32_t value = 0;  // the byte, or the hidden character's code point
};

// The hidden character whose well-formed UTF-8 starts `text`, if one does.
escape_step hidden_at(std::string_view text) {
  const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
  if ((byte(0) == c1_lead || byte(0) == arabic_lead) && text.size() >= 2 && is_continuation(byte(1))) {
    const uint32_t code_point = ((byte(0) & 0x1Fu) << 6) | (byte(1) & 0x3Fu);
    return is_hidden_character(code_point) ? escape_step{2, code_point} : escape_step{};
  }
  if ((byte(0) == punctuation_lead || byte(0) == specials_lead) && text.size() >= 3 && is_continuation(byte(1)) &&
      is_continuation(byte(2))) {
    const uint32_t code_point = ((byte(0) & 0x0Fu) << 12) | ((byte(1) & 0x3Fu) << 6) | (byte(2) & 0x3Fu);
    return is_hidden_character(code_point) ? escape_step{3, code_point} : escape_step{};
  }
  return {};
}

escape_step escape_at(std::string_view text, escape_set set) {
  const auto byte = static_cast<unsigned char>(text[0]);
  if (is_control(byte) || (set.backslash && byte == '\\')) return {1, byte};
  if (!set.hidden || byte < 0x80) return {};
  return hidden_at(text);
}

// Appends `text` in its escape form: a control character or backslash as
// "\xHH", a hidden character as "\uHHHH"; the plain runs between them go
// across whole.
void append_escaped(std::string& out, std::string_view text, escape_set set) {
  size_t run = 0;
  for (size_t at = 0; at < text.size();) {
    if (at + sizeof(uint64_t) <= text.size() && is_plain_word(word_at(text, at), set)) {
      at += sizeof(uint64_t);
      continue;
    }
    const escape_step step = escape_at(text.substr(at), set);
    if (step.length == 0) {
      ++at;
      continue;
    }
    out.append(text.substr(run, at - run));
    out += step.length == 1 ? "\\x" : "\\u";
    append_hex(out, step.value, step.length == 1 ? 2 : 4);
    at += step.length;
    run = at;
  }
  out.append(text.substr(run));
}

}  // namespace

std::string escape_controls(std::string_view text) {
  std::string out;
  append_escaped(out, text, {.backslash = false, .hidden = true});
  return out;
}

std::string display_name(std::string_view name) {
  std::string out;
  append_display_name(out, name);
  return out;
}

void append_display_name(std::string& out, std::string_view name) {
  append_escaped(out, name, {.backslash = true, .hidden = false});
}

void append_visible_name(std::string& out, std::string_view name) {
  append_escaped(out, name, {.backslash = true, .hidden = true});
}

namespace {

void append_utf8(std::string& out, uint32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

constexpr uint32_t replacement_char = 0xFFFD;

bool is_high_surrogate(uint32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool is_low_surrogate(uint32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

}  // namespace

std::string utf16le_to_utf8(std::span<const uint8_t> bytes, size_t units) {
  std::string out;
  append_utf16le_as_utf8(out, bytes, units);
  return out;
}

namespace {

// How many of the first `units` UTF-16LE units are ASCII: four units (one
// word) at a time, where each even byte must be below 0x80 and each odd byte
// zero.
size_t leading_ascii_units(std::span<const uint8_t> bytes, size_t units) {
  size_t i = 0;
  if constexpr (std::endian::native == std::endian::little) {
    for (; i + 4 <= units; i += 4) {
      uint64_t word = 0;
      std::memcpy(&word, bytes.data() + 2 * i, sizeof word);
      if ((word & 0xFF80FF80FF80FF80ULL) != 0) break;
    }
  }
  while (i < units && bytes[2 * i + 1] == 0 && bytes[2 * i] < 0x80) ++i;
  return i;
}

}  // namespace

void append_utf16le_as_utf8(std::string& out, std::span<const uint8_t> bytes, size_t units) {
  if (units > bytes.size() / 2) units = bytes.size() / 2;
  auto unit_at = [&](size_t i) -> uint32_t { return bytes[2 * i] | (uint32_t{bytes[2 * i + 1]} << 8); };
  out.reserve(out.size() + units);
  // Most names are ASCII: those units go straight across.
  size_t i = leading_ascii_units(bytes, units);
  const size_t start = out.size();
  out.resize(start + i);
  for (size_t k = 0; k < i; ++k) out[start + k] = static_cast<char>(bytes[2 * k]);
  for (; i < units; ++i) {
    const uint32_t u = unit_at(i);
    if (is_high_surrogate(u) && i + 1 < units && is_low_surrogate(unit_at(i + 1))) {
      append_utf8(out, 0x10000 + ((u - 0xD800) << 10) + (unit_at(i + 1) - 0xDC00));
      ++i;
    } else if (is_high_surrogate(u) || is_low_surrogate(u)) {
      append_utf8(out, replacement_char);
    } else {
      append_utf8(out, u);
    }
  }
}

std::u16string utf8_to_utf16(std::string_view text) {
  std::u16string out;
  for (size_t i = 0; i < text.size();) {
    const auto b = static_cast<uint8_t>(text[i]);
    uint32_t cp = replacement_char;
    size_t len = 1;
    if (b < 0x80) {
      cp = b;
    } else if ((b >> 5) == 0x6 && i + 1 < text.size()) {
      cp = ((b & 0x1F) << 6) | (text[i + 1] & 0x3F);
      len = 2;
    } else if ((b >> 4) == 0xE && i + 2 < text.size()) {
      cp = ((b & 0x0F) << 12) | ((text[i + 1] & 0x3F) << 6) | (text[i + 2] & 0x3F);
      len = 3;
    } else if ((b >> 3) == 0x1E && i + 3 < text.size()) {
      cp = ((b & 0x07) << 18) | ((text[i + 1] & 0x3F) << 12) | ((text[i + 2] & 0x3F) << 6) |
           (text[i + 3] & 0x3F);
      len = 4;
    }
    if (cp >= 0x10000 && cp <= 0x10FFFF) {
      cp -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(cp));
    }
    i += len;
  }
  return out;
}

}  // namespace vk
