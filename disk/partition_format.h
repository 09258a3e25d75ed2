// On-disk layout of the structures the partition scanner reads: the master
// and extended boot records, the GPT header and its entries, and the ext
// superblock magic.  Every offset into these structures is named here and
// nowhere else (the volume boot sector has its own, disk/boot_sector_format.h).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace partition_format {

constexpr uint16_t boot_signature = 0xAA55;

// Master boot record and extended boot record (the same 512-byte layout;
// with larger sectors the table stays at 446 and the signature moves to the
// last two bytes of the sector).
constexpr size_t mbr_size = 512;
constexpr size_t mbr_table = 446;  // four 16-byte partition entries
constexpr size_t mbr_entry_size = 16;
constexpr size_t mbr_entry_count = 4;
constexpr size_t mbr_signature = 510;  // u16 0xAA55 in a 512-byte sector

// One MBR partition entry, offsets from the start of the entry.
constexpr size_t mbr_entry_type = 4;  // u8 partition type
constexpr size_t mbr_entry_start_lba = 8;  // u32 first sector, relative to the table's base
constexpr size_t mbr_entry_sector_count = 12;  // u32

constexpr uint8_t mbr_type_extended_chs = 0x05;
constexpr uint8_t mbr_type_extended_lba = 0x0F;
constexpr uint8_t mbr_type_gpt_protective = 0xEE;

// ext2/3/4: the superblock starts at byte 1024 and holds its magic at 56.
constexpr size_t ext_magic = 1024 + 56;  // u16 0xEF53
constexpr uint16_t ext_magic_value = 0xEF53;

// GPT header, offsets from the start of LBA 1.
constexpr size_t gpt_signature = 0;  // 8 bytes "EFI PART"
constexpr std::string_view gpt_signature_text = "EFI PART";
constexpr size_t gpt_current_lba = 24;  // u64, 1 in the primary header
constexpr size_t gpt_entries_lba = 72;  // u64 first sector of the entry array
constexpr size_t gpt_entry_count = 80;  // u32
constexpr size_t gpt_entry_size = 84;  // u32, 128 in practice
constexpr size_t gpt_header_probe = 32768;  // bytes read at 0 to find the sector size and header

// GPT partition entry, offsets from the start of the entry.
constexpr size_t gpt_type_guid = 0;  // 16 bytes, all zero for an unused entry
constexpr size_t gpt_guid_size = 16;
constexpr size_t gpt_first_lba = 32;  // u64
constexpr size_t gpt_last_lba = 40;  // u64, inclusive
constexpr size_t gpt_min_entry_size = 128;  // through the 72-byte name at 56

// The fixed rows that stand for the GPT's own structures, in sectors.
constexpr uint64_t gpt_entries_row_start = 2;
constexpr uint64_t gpt_entries_row_count = 32;

// Sector sizes an MBR can be written for, found by where its signature sits
// (the last two bytes of the first sector).
constexpr std::array<uint32_t, 5> large_sector_sizes = {1024, 2048, 4096, 8192, 16384};
constexpr size_t layout_probe_size = 16384;  // bytes read at 0 to decide the layout

}  // namespace partition_format
