// The volume boot sector: the first sector of a FAT, exFAT or NTFS volume.
// After a jump instruction comes the OEM name, then the BIOS parameter block
// that FAT and NTFS share up to byte 36, then each file system's own fields.
// Every offset into the boot sector is named here and nowhere else: the
// partition scanner reads it to tell file systems apart, the NTFS layer to
// take the volume's geometry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace boot_sector_format {

constexpr size_t size = 512;

constexpr size_t oem_name = 3;  // 8 ASCII bytes: "NTFS    ", "EXFAT   ", "MSDOS5.0", ...
constexpr size_t oem_name_size = 8;
// "NTFS", "EXFA" or "MSDO" in the first four tell a boot sector from an MBR.
constexpr size_t oem_prefix_size = 4;
constexpr std::string_view ntfs_oem = "NTFS    ";
constexpr std::string_view exfat_oem = "EXFAT   ";

// BIOS parameter block.
constexpr size_t bytes_per_sector = 11;  // u16
constexpr size_t sectors_per_cluster = 13;  // u8; on NTFS above 0x80 it encodes 2^(256 - value)
constexpr size_t reserved_sectors = 14;  // u16, FAT
constexpr size_t fat_count = 16;  // u8, FAT
constexpr size_t root_entries = 17;  // u16, FAT12/16; 0 on FAT32
constexpr size_t total_sectors_16 = 19;  // u16, FAT; 0 when the 32-bit count is used
constexpr size_t sectors_per_fat_16 = 22;  // u16, FAT12/16; 0 on FAT32
constexpr size_t total_sectors_32 = 32;  // u32, FAT
constexpr size_t sectors_per_fat_32 = 36;  // u32, FAT32 only

// NTFS fields after the shared block.
constexpr size_t ntfs_total_sectors = 40;  // u64; the backup boot sector follows them
constexpr size_t ntfs_mft_lcn = 48;  // u64: first cluster of $MFT
constexpr size_t ntfs_mft_mirror_lcn = 56;  // u64: first cluster of $MFTMirr (unused)
constexpr size_t ntfs_clusters_per_mft_record = 64;  // i8; negative n means 2^-n bytes
constexpr size_t ntfs_clusters_per_index_record = 68;  // i8; the same rule

constexpr size_t signature = 510;  // u16 0xAA55

// A FAT directory entry, for the root directory's size on FAT12/16.
constexpr size_t fat_dir_entry_size = 32;
// A FAT volume with fewer data clusters than these is FAT12, then FAT16,
// else FAT32: the only test the FAT format itself defines.
constexpr uint64_t fat12_cluster_limit = 4085;
constexpr uint64_t fat16_cluster_limit = 65525;

}  // namespace boot_sector_format
