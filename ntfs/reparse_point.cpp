#include "ntfs/reparse_point.h"

#include "ntfs/mft_format.h"
#include "support/le_reader.h"
#include "support/vk_string.h"

namespace {

// The NT object-manager prefix of an absolute target ("\??\C:\dir").
constexpr std::string_view nt_prefix = "\\??\\";

std::string name_at(const vk::le_reader& buffer, size_t offset, size_t length) {
  if (length == 0 || !buffer.has(offset, length)) return {};
  return vk::utf16le_to_utf8(buffer.bytes().subspan(offset), length / 2);
}

// "\??\C:\dir" and "C:\dir" both become "\dir": the drive is taken to be
// the volume being read.
std::string strip_prefixes(std::string path) {
  if (path.starts_with(nt_prefix)) path.erase(0, nt_prefix.size());
  if (path.size() >= 2 && path[1] == ':') path.erase(0, 2);
  return path;
}

}  // namespace

bool read_link_target(std::span<const uint8_t> value, link_target& out) {
  const vk::le_reader reader(value);
  const uint32_t tag = reader.u32(mft_format::reparse_tag);
  size_t buffer_offset = 0;
  if (tag == mft_format::reparse_tag_mount_point) {
    buffer_offset = mft_format::reparse_mount_point_buffer;
  } else if (tag == mft_format::reparse_tag_symlink) {
    buffer_offset = mft_format::reparse_symlink_buffer;
    out.relative = (reader.u32(mft_format::reparse_symlink_flags) & mft_format::symlink_flag_relative) != 0;
  } else {
    return false;
  }
  const vk::le_reader buffer = reader.from(buffer_offset);
  std::string target = name_at(buffer, reader.u16(mft_format::reparse_substitute_offset),
                               reader.u16(mft_format::reparse_substitute_length));
  if (target.empty()) {
    target = name_at(buffer, reader.u16(mft_format::reparse_print_offset), reader.u16(mft_format::reparse_print_length));
  }
  if (!reader.ok() || target.empty()) return false;
  out.path = out.relative ? target : strip_prefixes(target);
  return true;
}
