// The NTFS boot sector: the first 512 bytes of the volume, from which the
// whole geometry of the volume is derived.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace boot_format {

constexpr size_t sector_size = 512;  // bytes read for the boot sector
constexpr size_t oem_name = 3;  // 8 ASCII bytes, "NTFS    " on an NTFS volume
constexpr size_t oem_name_length = 8;
constexpr size_t bytes_per_sector = 11;  // u16
constexpr size_t sectors_per_cluster = 13;  // u8; above 0x80 it encodes 2^(256 - value)
constexpr size_t total_sectors = 40;  // u64
constexpr size_t mft_lcn = 48;  // u64: first cluster of $MFT
constexpr size_t mft_mirror_lcn = 56;  // u64: first cluster of $MFTMirr (unused)
constexpr size_t clusters_per_mft_record = 64;  // i8; negative n means 2^-n bytes
constexpr size_t clusters_per_index_record = 68;  // i8; same rule as MFT records

}  // namespace boot_format

// The fields of the boot sector this tool reads, as stored.
struct NTFS_BOOT {
  bool oem_is_ntfs = false;
  uint16_t bytes_per_sector = 0;
  uint8_t sectors_per_cluster = 0;
  uint64_t total_sectors = 0;
  uint64_t mft_lcn = 0;
  int8_t clusters_per_mft_record = 0;
  int8_t clusters_per_index_record = 0;
};

// Decodes the boot sector fields; false when the bytes are too short.
bool parse_boot_sector(std::span<const uint8_t> sector, NTFS_BOOT& boot);
