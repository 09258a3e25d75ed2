#include "ntfs/file_name.h"

#include "support/le_reader.h"
#include "support/vk_string.h"

namespace fnf = file_name_format;

std::string file_name_text(std::span<const uint8_t> value, size_t units) {
  if (value.size() <= fnf::name) return {};
  return vk::utf16le_to_utf8(value.subspan(fnf::name), units);
}

bool read_file_name(std::span<const uint8_t> value, file_name_value& out) {
  const vk::le_reader reader(value);
  const size_t units = reader.u8(fnf::name_length);
  out.parent_ref = reader.u64(fnf::parent_ref);
  out.name_space = reader.u8(fnf::name_space);
  if (!reader.ok() || !reader.has(fnf::name, 2 * units)) return false;
  out.name = file_name_text(value, units);
  return true;
}

bool is_preferred_name(const file_name_value& candidate, const file_name_value& current) {
  return current.name_space == fnf::namespace_dos && candidate.name_space != fnf::namespace_dos;
}
