// On-disk layout of an INDX record, its index node header and its index
// entries (each entry's key is a copy of the file's $FILE_NAME attribute).
// Every offset into these structures is named here and nowhere else.
#pragma once

#include <cstddef>
#include <cstdint>

namespace indx_format {

// INDX record header, offsets from the start of the record.
constexpr size_t record_size = 4096;
constexpr size_t rec_magic = 0;  // "INDX"
constexpr size_t rec_usa_offset = 4;  // u16: update sequence array offset
constexpr size_t rec_usa_count = 6;  // u16: words in the array, first is the sequence number
constexpr size_t rec_lsn = 8;  // u64, unused
constexpr size_t rec_vcn = 16;  // u64, unused
constexpr size_t rec_node_header = 24;  // the index node header starts here
constexpr size_t node_limit_in_record = record_size - rec_node_header;  // 4072

// Index node header, offsets from the node header itself.
constexpr size_t node_entries_offset = 0;  // u32 (read signed): first entry, from the node header
constexpr size_t node_used_size = 4;  // u32: bytes of the entry area in use
constexpr size_t node_allocated_size = 8;  // u32
constexpr size_t node_flags = 12;  // u32: bit 0 has sub-nodes
constexpr size_t node_header_size = 16;

// Index entry, offsets from the start of the entry.
constexpr size_t ent_file_ref = 0;  // u64 mft_ref of the named file
constexpr size_t ent_length = 8;  // u16 entry length
constexpr size_t ent_key_length = 10;  // u16 length of the $FILE_NAME key
constexpr size_t ent_flags = 12;  // u16: 1 has sub-node, 2 last entry
constexpr size_t ent_reserved = 14;  // u16, 0 in any real entry
constexpr size_t ent_key = 16;  // the $FILE_NAME key
constexpr size_t ent_head_size = 16;

constexpr uint16_t entry_flag_subnode = 1;
constexpr uint16_t entry_flag_last = 2;

// $FILE_NAME key, offsets from the start of the key.
constexpr size_t key_parent_ref = 0;  // u64 mft_ref of the parent directory
constexpr size_t key_created = 8;  // FILETIME
constexpr size_t key_modified = 16;  // FILETIME
constexpr size_t key_mft_changed = 24;  // FILETIME
constexpr size_t key_accessed = 32;  // FILETIME
constexpr size_t key_alloc_size = 40;  // u64
constexpr size_t key_real_size = 48;  // u64
constexpr size_t key_attr_flags = 56;  // u32 file attribute flags
constexpr size_t key_reparse = 60;  // u32 reparse tag / EA size
constexpr size_t key_name_length = 64;  // u8, UTF-16 code units
constexpr size_t key_namespace = 65;  // u8: 0 POSIX, 1 Win32, 2 DOS, 3 Win32+DOS
constexpr size_t key_name = 66;  // UTF-16LE, not terminated
constexpr size_t key_stored_size = 68;  // bytes of the key kept in an indx_entry

// The smallest span an entry with an n-unit name occupies: 16-byte head,
// 66 bytes of key before the name, then the name.
constexpr size_t entry_min_size = ent_key + key_name;  // 82
constexpr uint32_t entry_span(uint32_t name_units) { return static_cast<uint32_t>(entry_min_size) + 2 * name_units; }

constexpr uint32_t attr_flag_directory = 0x10;
constexpr uint32_t attr_flag_has_index = 0x10000000;
constexpr uint32_t attr_flags_directory_like = attr_flag_directory | attr_flag_has_index;

// Attribute types an entry can come from.
constexpr uint32_t attr_type_index_root = 0x90;
constexpr uint32_t attr_type_index_allocation = 0xA0;

}  // namespace indx_format
