#include "report/json_text.h"

#include <array>
#include <cstring>
#include <span>

#include "support/byte_words.h"
#include "support/number_text.h"
#include "support/vk_string.h"

namespace {

constexpr std::string_view replacement_character = "\xEF\xBF\xBD";
void append_unicode_escape(std::string& out, uint32_t code_point) {
  out += "\\u";
  out += vk::number_text::hex(code_point, 4).view();
}

// Controls, and the characters every other layout escapes as hidden: a
// reader's terminal shows the line as it is.
bool must_escape(uint32_t code_point) {
  return code_point < 0x20 || code_point == 0x7F || vk::is_hidden_character(code_point);
}

// The well-formed UTF-8 sequence at the start of `text`: its length and code
// point, or the length of the maximal ill-formed part to replace (code point
// absent).  The second byte's range excludes overlong forms, surrogates and
// code points past U+10FFFF, as the Unicode table of well-formed sequences
// does.
struct utf8_step {
  size_t length = 1;
  bool well_formed = false;
  uint32_t code_point = 0;
};

utf8_step decode_utf8(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  utf8_step step;
  size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;
  if (lead < 0x80) return {1, true, lead};
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    step.code_point = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    step.code_point = lead & 0x0Fu;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    step.code_point = lead & 0x07u;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return step;
  }
  for (step.length = 1; step.length < length; ++step.length) {
    if (step.length >= text.size()) return step;
    const auto next = static_cast<unsigned char>(text[step.length]);
    if (next < low || next > high) return step;
    step.code_point = (step.code_point << 6) | (next & 0x3Fu);
    low = 0x80;
    high = 0xBF;
  }
  step.well_formed = true;
  return step;
}

// Printable ASCII other than '"' and '\\': the bytes that go across unchanged.
constexpr std::array<bool, 256> plain_bytes = [] {
  std::array<bool, 256> plain{};
  for (size_t byte = 0x20; byte < 0x7F; ++byte) plain[byte] = byte != '"' && byte != '\\';
  return plain;
}();

bool is_plain(char c) { return plain_bytes[static_cast<unsigned char>(c)]; }

// True when all eight bytes of `word` are plain.
bool is_plain_word(uint64_t word) {
  return (word & vk::byte_highs) == 0 && !vk::has_byte_below(word, 0x20) &&
         !vk::has_zero_byte(word ^ vk::repeated_byte(0x7F)) && !vk::has_zero_byte(word ^ vk::repeated_byte('"')) &&
         !vk::has_zero_byte(word ^ vk::repeated_byte('\\'));
}

// Appends the run of plain bytes at the start of `text` and drops it.
void take_plain_run(std::string& out, std::string_view& text) {
  size_t run = 0;
  while (run + sizeof(uint64_t) <= text.size() && is_plain_word(vk::word_at(text, run))) run += sizeof(uint64_t);
  while (run < text.size() && is_plain(text[run])) ++run;
  out.append(text.substr(0, run));
  text.remove_prefix(run);
}

}  // namespace

void append_json_characters(std::string& out, std::string_view text) {
  for (take_plain_run(out, text); !text.empty(); take_plain_run(out, text)) {
    const utf8_step step = decode_utf8(text);
    if (!step.well_formed) {
      out += replacement_character;
    } else if (step.code_point == '"' || step.code_point == '\\') {
      out.push_back('\\');
      out.push_back(static_cast<char>(step.code_point));
    } else if (must_escape(step.code_point)) {
      append_unicode_escape(out, step.code_point);
    } else {
      out.append(text.substr(0, step.length));
    }
    text.remove_prefix(step.length);
  }
}

void append_json_string(std::string& out, std::string_view text) {
  out.push_back('"');
  append_json_characters(out, text);
  out.push_back('"');
}

// Member names are slix's own plain ASCII words: they need no escaping.  The
// separator, quotes and name are written straight into the grown buffer.
void json_object::key(std::string_view name) {
  const size_t start = m_text.size();
  const size_t comma = m_first ? 0 : 1;
  m_first = false;
  m_text.resize(start + comma + name.size() + 3);
  const std::span<char> piece = std::span<char>(m_text).subspan(start);
  if (comma != 0) piece[0] = ',';
  piece[comma] = '"';
  std::memcpy(piece.subspan(comma + 1).data(), name.data(), name.size());
  piece[comma + 1 + name.size()] = '"';
  piece[comma + 2 + name.size()] = ':';
}

json_object& json_object::json_string(std::string_view key_name, std::string_view quoted) {
  key(key_name);
  m_text += quoted;
  return *this;
}

json_object& json_object::word(std::string_view key_name, std::string_view value) {
  key(key_name);
  m_text += '"';
  m_text += value;
  m_text += '"';
  return *this;
}

json_object& json_object::text(std::string_view key_name, std::string_view value) {
  key(key_name);
  append_json_string(m_text, value);
  return *this;
}

json_object& json_object::number(std::string_view key_name, uint64_t value) {
  key(key_name);
  m_text += vk::number_text::dec(value).view();
  return *this;
}

json_object& json_object::signed_number(std::string_view key_name, int64_t value) {
  key(key_name);
  m_text += vk::number_text::signed_dec(value).view();
  return *this;
}

json_object& json_object::boolean(std::string_view key_name, bool value) {
  key(key_name);
  m_text += value ? "true" : "false";
  return *this;
}

json_object& json_object::null(std::string_view key_name) {
  key(key_name);
  m_text += "null";
  return *this;
}
