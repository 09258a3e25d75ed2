// Recognising what a sector holds: a volume boot sector, a master boot
// record, or the start of a known file system.
#pragma once

#include <cstdint>
#include <span>

// bitlocker: a BitLocker-encrypted volume, whose boot sector names
// "-FVE-FS-" where an NTFS one names "NTFS    ".
enum class volume_content { unknown, ntfs, exfat, fat12, fat16, fat32, ext, bitlocker };

// A volume boot sector: its OEM name begins with "NTFS", "EXFA" or "MSDO".
bool is_volume_boot_sector(std::span<const uint8_t> sector);

// An NTFS boot sector: the OEM name is "NTFS" and four blanks.
bool is_ntfs_boot_sector(std::span<const uint8_t> sector);

// A master (or extended) boot record: 0xAA55 at byte 510 of a sector that is
// not a volume boot sector.
bool is_master_boot_record(std::span<const uint8_t> sector);

// The file system whose boot sector or superblock begins `first_bytes`
// (the first bytes of a partition; up to 2048 are looked at).
volume_content classify_volume_content(std::span<const uint8_t> first_bytes);

// The partition type to list for a row whose table says `table_type` and whose
// first bytes hold `content`: the table type when the content agrees with it
// or says nothing, else a guessed type (partition_type_guessed set).
uint16_t type_after_content(uint16_t table_type, volume_content content);
