// The $FILE_NAME attribute value: the name of a file in one parent
// directory, with the times and sizes NTFS copied there when the name was
// last changed.  A directory's index stores a copy of it as the key of every
// entry, so this one layout serves MFT records and index entries alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "support/types.h"

namespace file_name_format {

// Offsets from the start of the value.
constexpr size_t parent_ref = 0;  // u64 mft_ref of the parent directory
constexpr size_t created = 8;  // FILETIME
constexpr size_t modified = 16;  // FILETIME
constexpr size_t mft_changed = 24;  // FILETIME
constexpr size_t accessed = 32;  // FILETIME
constexpr size_t alloc_size = 40;  // u64
constexpr size_t real_size = 48;  // u64
constexpr size_t attr_flags = 56;  // u32 file attribute flags (file_attribute below)
constexpr size_t reparse = 60;  // u32 reparse tag, or extended-attribute size
constexpr size_t name_length = 64;  // u8, UTF-16 code units
constexpr size_t name_space = 65;  // u8, namespace below
constexpr size_t name = 66;  // UTF-16LE, not terminated

// The bytes a value with an n-unit name takes.
constexpr size_t value_size(size_t name_units) { return name + 2 * name_units; }

// Namespaces of a name.
constexpr uint8_t namespace_posix = 0;
constexpr uint8_t namespace_win32 = 1;
constexpr uint8_t namespace_dos = 2;  // an 8.3 alias of a long name
constexpr uint8_t namespace_win32_dos = 3;

}  // namespace file_name_format

// The file attribute bits of a $FILE_NAME (and $STANDARD_INFORMATION).
namespace file_attribute {
constexpr uint32_t read_only = 0x00000001;
constexpr uint32_t hidden = 0x00000002;
constexpr uint32_t system = 0x00000004;
constexpr uint32_t directory = 0x00000010;
constexpr uint32_t archive = 0x00000020;
constexpr uint32_t device = 0x00000040;
constexpr uint32_t normal = 0x00000080;
constexpr uint32_t temporary = 0x00000100;
constexpr uint32_t sparse = 0x00000200;
constexpr uint32_t reparse_point = 0x00000400;
constexpr uint32_t compressed = 0x00000800;
constexpr uint32_t offline = 0x00001000;
constexpr uint32_t not_content_indexed = 0x00002000;
constexpr uint32_t encrypted = 0x00004000;
// A $FILE_NAME of a directory carries this bit; the directory bit proper is
// kept in $STANDARD_INFORMATION and not always copied here.
constexpr uint32_t has_index = 0x10000000;
}  // namespace file_attribute

struct file_name_value {
  mft_ref parent_ref = 0;
  uint8_t name_space = 0;
  std::string name;
};

// The name held by a value, `units` UTF-16 units from its name field;
// units past the end of `value` are not read.
std::string file_name_text(std::span<const uint8_t> value, size_t units);

// Decodes a resident $FILE_NAME value; false when it is too short for its
// stated name.
bool read_file_name(std::span<const uint8_t> value, file_name_value& out);

// True when `candidate` is a better name to show than `current`: any long
// name (POSIX, Win32, or both) wins over an 8.3 DOS name, and otherwise the
// first name seen is kept.
bool is_preferred_name(const file_name_value& candidate, const file_name_value& current);
