#include "report/entry_fields.h"

#include <array>

#include "support/types.h"
#include "support/vk_string.h"

namespace {

constexpr int cell_hex_digits = 8;

struct named_flag {
  uint32_t bit;
  const char* name;
};

// FILE_ATTRIBUTE_* bits as stored in the $FILE_NAME key.
constexpr std::array<named_flag, 15> attribute_names{{
    {0x00000001, "read-only"},
    {0x00000002, "hidden"},
    {0x00000004, "system"},
    {0x00000010, "directory"},
    {0x00000020, "archive"},
    {0x00000040, "device"},
    {0x00000080, "normal"},
    {0x00000100, "temporary"},
    {0x00000200, "sparse"},
    {0x00000400, "reparse point"},
    {0x00000800, "compressed"},
    {0x00001000, "offline"},
    {0x00002000, "not content indexed"},
    {0x00004000, "encrypted"},
    {0x10000000, "has index"},
}};

}  // namespace

std::string full_name_of(const indx_entry& entry, const std::string& directory) {
  return directory + vk::display_name(entry.name);
}

bool entry_number_missing(const indx_entry& entry) {
  return (mft_entry_of(entry.file_ref) == 0 && entry.name != "$MFT") || mft_sequence_of(entry.file_ref) == 0;
}

std::string hex_and_decimal(uint64_t value, int width) {
  return "0x" + vk::hex(value, width) + " [" + vk::dec(value) + "]";
}

std::string cell_number(uint64_t value, bool base10) {
  return base10 ? vk::dec(value) : "0x" + vk::hex(value, cell_hex_digits);
}

std::string attr_flags_text(uint32_t flags) {
  std::string text;
  uint32_t unnamed = flags;
  auto append = [&text](const std::string& word) { text += (text.empty() ? "" : "+") + word; };
  for (const named_flag& flag : attribute_names) {
    if ((flags & flag.bit) == 0) continue;
    append(flag.name);
    unnamed &= ~flag.bit;
  }
  if (unnamed != 0) append("0x" + vk::hex(unnamed, cell_hex_digits));
  return text;
}

std::string source_type_text(uint32_t attr_type) {
  if (attr_type == indx_format::attr_type_index_allocation) return "indx alloc";
  if (attr_type == indx_format::attr_type_index_root) return "indx root";
  return "unk";
}

const char* validity_word(const indx_entry& entry) { return entry.is_valid ? "valid" : "slack"; }
