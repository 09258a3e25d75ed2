// On-disk layout of an MFT file record, of the attribute headers inside it,
// of an $ATTRIBUTE_LIST entry and of a reparse point.  Every offset into
// these structures is named here and nowhere else.  (A $FILE_NAME value is
// named in ntfs/file_name.h.)
#pragma once

#include <cstddef>
#include <cstdint>

namespace mft_format {

// File record header, offsets from the start of the record.  It opens with
// the multi-sector header (ntfs/multi_sector.h).
constexpr size_t rec_sequence = 16;  // u16: incremented each time the record is reused
constexpr size_t rec_first_attribute = 20;  // u16: offset of the first attribute
constexpr size_t rec_flags = 22;  // u16: 0x0001 in use, 0x0002 directory
constexpr size_t rec_bytes_in_use = 24;  // u32: bytes of the record in use; the rest is slack
constexpr size_t rec_bytes_allocated = 28;  // u32: allocated size of the record
constexpr size_t rec_base_ref = 32;  // u64 mft_ref: base record of an extension record, else 0

constexpr uint16_t rec_flag_in_use = 0x0001;
constexpr uint16_t rec_flag_directory = 0x0002;

// What a well-formed file record must show before its array is trusted.
constexpr uint16_t file_usa_offset = 0x30;
constexpr uint16_t file_usa_count_max = 9;  // eight 512-byte blocks: a 4096-byte record
constexpr uint16_t file_first_attribute_limit = 0x49;  // first attribute below this

// Attribute header, offsets from the start of the attribute.
constexpr size_t attr_type = 0;  // u32; 0xFFFFFFFF ends the attribute list of a record
constexpr size_t attr_length = 4;  // u32: the whole attribute
constexpr size_t attr_non_resident = 8;  // u8: 1 when the value lives in clusters
constexpr size_t attr_name_length = 9;  // u8: UTF-16 units of the attribute name
constexpr size_t attr_name_offset = 10;  // u16
constexpr size_t attr_id = 14;  // u16: unique within the base record and its extensions
constexpr size_t attr_value_length = 16;  // resident u32
constexpr size_t attr_value_offset = 20;  // resident u16
constexpr size_t attr_first_vcn = 16;  // non-resident u64: first VCN these runs map
constexpr size_t attr_mapping_pairs = 32;  // non-resident u16: offset of the mapping pairs
constexpr size_t attr_data_size = 48;  // non-resident u64: bytes of the stream in use
constexpr size_t attr_header_min = 16;  // smallest header that holds the common fields

constexpr uint32_t attr_end_marker = 0xFFFFFFFF;

// Attribute types this tool reads.
constexpr uint32_t type_attribute_list = 0x20;
constexpr uint32_t type_file_name = 0x30;
constexpr uint32_t type_data = 0x80;
constexpr uint32_t type_index_root = 0x90;
constexpr uint32_t type_index_allocation = 0xA0;
constexpr uint32_t type_bitmap = 0xB0;  // named "$I30": one bit per INDX record of the allocation
constexpr uint32_t type_reparse_point = 0xC0;

// $ATTRIBUTE_LIST entry, offsets from the start of the entry.
constexpr size_t list_type = 0;  // u32
constexpr size_t list_entry_length = 4;  // u16
constexpr size_t list_first_vcn = 8;  // u64
constexpr size_t list_ref = 16;  // u64 mft_ref of the record holding the attribute
constexpr size_t list_attr_id = 24;  // u16
constexpr size_t list_entry_min = 26;  // bytes an entry needs for the fields above

// Reparse point value ($REPARSE_POINT), offsets from the start of the value.
constexpr size_t reparse_tag = 0;  // u32
constexpr size_t reparse_substitute_offset = 8;  // u16, from the path buffer
constexpr size_t reparse_substitute_length = 10;  // u16 bytes
constexpr size_t reparse_print_offset = 12;  // u16, from the path buffer
constexpr size_t reparse_print_length = 14;  // u16 bytes
constexpr size_t reparse_mount_point_buffer = 16;  // path buffer of a junction
constexpr size_t reparse_symlink_flags = 16;  // u32: 1 relative target
constexpr size_t reparse_symlink_buffer = 20;  // path buffer of a symbolic link

constexpr uint32_t reparse_tag_mount_point = 0xA0000003;
constexpr uint32_t reparse_tag_symlink = 0xA000000C;
constexpr uint32_t symlink_flag_relative = 1;

}  // namespace mft_format
