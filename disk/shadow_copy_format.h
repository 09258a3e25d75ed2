// On-disk layout of the Volume Shadow Copy metadata slix checks before
// libvshadow reads it.  Offsets within the volume; every structure opens with
// a 128-byte record header.  Windows writes the catalog and the stores' lists
// as chains of 16 KiB blocks, each naming the next.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vss_format {

constexpr uint64_t volume_header_at = 0x1e00;  // from the volume's first byte
constexpr size_t header_catalog_offset = 48;    // u64 (volume header): the catalog's first block

// Record header, at the start of every block.
constexpr size_t record_type = 20;  // u32: 1 volume header, 2 catalog, 3 block list, 4 store header,
                                    // 5 block range list, 6 bitmap
constexpr size_t record_next = 40;  // u64: the next block of the list, 0 at its end
constexpr size_t record_header_size = 128;
constexpr uint64_t block_size = 16384;

// Catalog entries follow the catalog block's header, 128 bytes each.
constexpr size_t catalog_entry_size = 128;
constexpr size_t entry_type = 0;  // u64: 2 store information, 3 store locations
constexpr uint64_t entry_store_locations = 3;
// A store-locations entry: the store's GUID and the first block of each list
// its reads follow.
constexpr size_t locations_block_list = 8;         // u64
constexpr size_t locations_store_header = 32;      // u64
constexpr size_t locations_store_guid = 16;        // 16 bytes
constexpr size_t locations_range_list = 40;        // u64
constexpr size_t locations_bitmap = 48;            // u64
constexpr size_t locations_previous_bitmap = 72;   // u64
constexpr size_t guid_size = 16;

// A store header: its record header, then the store information: three GUIDs
// and four u32 values, then two machine names, each a u16 byte count and
// that many bytes of UTF-16.
constexpr size_t store_first_name = record_header_size + 64;  // u16 byte count
constexpr size_t name_count_size = 2;

}  // namespace vss_format
