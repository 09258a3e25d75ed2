// On-disk layout of an INDX record, its index node header and its index
// entries.  Every offset into these structures is named here and nowhere
// else; the key of an entry is a $FILE_NAME value, named in ntfs/file_name.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ntfs/file_name.h"

namespace indx_format {

// INDX record header, offsets from the start of the record.
// The record opens with the multi-sector header (ntfs/multi_sector.h).
constexpr size_t record_size = 4096;
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

// The key is a copy of the file's $FILE_NAME value (ntfs/file_name.h), of
// which an indx_entry keeps the fixed part and the first name unit.
constexpr size_t key_stored_size = file_name_format::name + 2;

// The smallest span an entry with an n-unit name occupies: the 16-byte head,
// then the key's fixed part and the name.
constexpr size_t entry_min_size = ent_key + file_name_format::name;  // 82
constexpr uint32_t entry_span(uint32_t name_units) {
  return static_cast<uint32_t>(ent_key + file_name_format::value_size(name_units));
}

// Where a key field lies, from the start of the entry.
constexpr size_t key_field(size_t file_name_offset) { return ent_key + file_name_offset; }

}  // namespace indx_format
