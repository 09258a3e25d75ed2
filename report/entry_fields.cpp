#include "report/entry_fields.h"

#include <array>

#include "ntfs/file_name.h"
#include "ntfs/mft_format.h"
#include "support/types.h"
#include "support/vk_string.h"

namespace {

constexpr int cell_hex_digits = 8;

struct named_flag {
  uint32_t bit;
  const char* name;
};

namespace fa = file_attribute;

constexpr std::array<named_flag, 15> attribute_names{{
    {fa::read_only, "read-only"},
    {fa::hidden, "hidden"},
    {fa::system, "system"},
    {fa::directory, "directory"},
    {fa::archive, "archive"},
    {fa::device, "device"},
    {fa::normal, "normal"},
    {fa::temporary, "temporary"},
    {fa::sparse, "sparse"},
    {fa::reparse_point, "reparse point"},
    {fa::compressed, "compressed"},
    {fa::offline, "offline"},
    {fa::not_content_indexed, "not content indexed"},
    {fa::encrypted, "encrypted"},
    {fa::has_index, "has index"},
}};

}  // namespace

std::string full_name_of(const indx_entry& entry, const std::string& directory) {
  std::string full_name = directory;
  vk::append_visible_name(full_name, entry.name);
  return full_name;
}

bool entry_number_missing(const indx_entry& entry) {
  return (mft_entry_of(entry.file_ref) == 0 && entry.name != "$MFT") || mft_sequence_of(entry.file_ref) == 0;
}

std::string cell_number(uint64_t value, bool base10) { return std::string(number_cell(value, base10).view()); }

vk::number_text number_cell(uint64_t value, bool base10) {
  return base10 ? vk::number_text::dec(value) : vk::number_text::hex(value, cell_hex_digits).prefixed("0x");
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

std::string_view source_type_text(entry_source source) {
  switch (source) {
    case entry_source::index_root: return "indx root";
    case entry_source::index_allocation: return "indx alloc";
    case entry_source::unallocated: return "indx unalloc";
    case entry_source::mft_slack: return "mft slack";
  }
  return "unk";
}

std::string_view index_source_word(entry_source source) {
  switch (source) {
    case entry_source::index_root: return "root";
    case entry_source::index_allocation: return "allocation";
    case entry_source::unallocated: return "unallocated";
    case entry_source::mft_slack: return "mft_slack";
  }
  return "unknown";
}

const char* validity_word(const indx_entry& entry) { return entry.is_valid ? "valid" : "slack"; }

void append_validity_text(std::string& out, const indx_entry& entry) {
  out += validity_word(entry);
  if (!entry.annotation.empty()) {
    out += ", ";
    out += entry.annotation;
  }
}
