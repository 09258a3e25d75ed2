#include "indx/entry_decode.h"

#include "indx/indx_format.h"
#include "support/vk_string.h"

indx_entry decode_entry_fields(const vk::le_reader& entry) {
  indx_entry decoded;
  const std::span<const uint8_t> bytes = entry.bytes();
  decoded.file_ref = vk::le_reader(bytes).u64(indx_format::ent_file_ref);
  for (size_t i = 0; i < decoded.key.size(); ++i) {
    const size_t at = indx_format::ent_key + i;
    if (at < bytes.size()) decoded.key[i] = bytes[at];
  }
  decoded.size = indx_format::entry_span(decoded.name_length());
  decoded.is_dir = (decoded.attr_flags() & (file_attribute::directory | file_attribute::has_index)) != 0;
  return decoded;
}

std::string decode_entry_name(const vk::le_reader& entry, size_t units) {
  const std::span<const uint8_t> bytes = entry.bytes();
  if (bytes.size() <= indx_format::ent_key) return {};
  return file_name_text(bytes.subspan(indx_format::ent_key), units);
}
