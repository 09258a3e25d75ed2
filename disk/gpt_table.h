// Reads a GUID partition table into partition rows (used by the partition
// scanner when the MBR is a protective one).
#pragma once

#include <cstdint>
#include <span>

#include "disk/disk.h"
#include "disk/vk_disk_structs.h"

// Appends the rows for the GPT's own structures (protective MBR, header,
// entry array) and one row per used entry.  False when no 0xAA55 signature
// fixes the sector size or the header at LBA 1 is not the primary one.
bool read_gpt_table(disk& source, partition_list& rows);

// The sector size an MBR was written for, from where its 0xAA55 signature
// sits in `head`: byte 510 for 512-byte sectors, else the last two bytes of a
// 1024- to 16384-byte sector.  0 when there is none.
uint32_t mbr_sector_size_from_signature(std::span<const uint8_t> head, bool include_512);
