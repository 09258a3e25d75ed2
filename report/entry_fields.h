// The values every output layout derives from one index entry in the same
// way: the full name, the "entry number shown as missing" rule, number
// texts, the attribute flags as words and the valid/slack wording.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "indx/indx_entry.h"
#include "support/number_text.h"

// Directory path (already made visible) followed by the entry's name, as the
// text, CSV, log2timeline and bodyfile layouts show it (vk::append_visible_name).
std::string full_name_of(const indx_entry& entry, const std::string& directory);

// True when the entry number is not trusted and is shown as missing: number 0
// on anything but "$MFT" (which really is entry 0), or sequence number 0.
bool entry_number_missing(const indx_entry& entry);

// A number in a CSV or timeline cell: "0x" and at least eight zero-filled
// hexadecimal digits, or plain decimal with -base10.
std::string cell_number(uint64_t value, bool base10);
vk::number_text number_cell(uint64_t value, bool base10);

// The NTFS file attribute names of the set bits, in bit order, joined by "+"
// (a joiner that no layout uses as its separator, and that cannot be
// confused with the blanks inside names such as "reparse point").  Bits
// without a name follow as one "0x" hexadecimal value, so no bit is lost
// where the text stands alone (the CSV "flags" cell).
std::string attr_flags_text(uint32_t flags);

// attr_flags_text of the last flags value asked for: neighbouring entries
// mostly share their flags, and the words are put together bit by bit.
class flags_text_cache {
 public:
  std::string_view text_of(uint32_t flags) {
    if (!m_flags || *m_flags != flags) {
      m_flags = flags;
      m_text = attr_flags_text(flags);
    }
    return m_text;
  }

 private:
  std::optional<uint32_t> m_flags;
  std::string m_text;
};

// "indx alloc", "indx root" or "unk" after the attribute type the entry came from.
std::string_view source_type_text(entry_source source);
// The same as one word, for JSON: "root", "allocation", "unallocated", "mft_slack".
std::string_view index_source_word(entry_source source);

// "valid" or "slack".
const char* validity_word(const indx_entry& entry);

// "valid", "slack", or "slack, " and the annotation ("slack, deleted").
void append_validity_text(std::string& out, const indx_entry& entry);
