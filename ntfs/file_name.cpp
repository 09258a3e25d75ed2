#include "ntfs/file_name.h"

#include "indx/indx_format.h"
#include "ntfs/mft_format.h"
#include "support/le_reader.h"
#include "support/vk_string.h"

bool read_file_name(std::span<const uint8_t> value, file_name_value& out) {
  const vk::le_reader reader(value);
  const size_t units = reader.u8(indx_format::key_name_length);
  out.parent_ref = reader.u64(indx_format::key_parent_ref);
  out.name_space = reader.u8(indx_format::key_namespace);
  if (!reader.ok() || !reader.has(indx_format::key_name, 2 * units)) return false;
  out.name = vk::utf16le_to_utf8(value.subspan(indx_format::key_name), units);
  return true;
}

bool is_preferred_name(const file_name_value& candidate, const file_name_value& current) {
  return current.name_space == mft_format::namespace_dos && candidate.name_space != mft_format::namespace_dos;
}
