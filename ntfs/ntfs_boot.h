// The NTFS boot sector: the first 512 bytes of the volume, from which the
// whole geometry of the volume is derived (layout: disk/boot_sector_format.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// The fields of the boot sector this tool reads, as stored.
struct NTFS_BOOT {
  bool oem_is_ntfs = false;
  uint16_t bytes_per_sector = 0;
  uint8_t sectors_per_cluster = 0;
  uint64_t total_sectors = 0, mft_lcn = 0;
  int8_t clusters_per_mft_record = 0, clusters_per_index_record = 0;
};

// Decodes the boot sector fields; false when the bytes are too short.
bool parse_boot_sector(std::span<const uint8_t> sector, NTFS_BOOT& boot);
