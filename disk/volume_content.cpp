#include "disk/volume_content.h"

#include <algorithm>
#include <string_view>

#include "disk/boot_sector_format.h"
#include "disk/container_format.h"
#include "disk/partition_format.h"
#include "disk/partition_types.h"
#include "support/checked_math.h"
#include "support/le_reader.h"

namespace pf = partition_format;
namespace bsf = boot_sector_format;

namespace {

// A FAT boot sector is told apart by its BIOS parameter block, whatever OEM
// name the formatting tool wrote.  The FAT kind follows from the number of
// data clusters, the only test the FAT format itself defines.
volume_content classify_fat(const vk::le_reader& boot) {
  if (boot.u16(bsf::signature) != pf::boot_signature) return volume_content::unknown;
  const uint64_t bytes_per_sector = boot.u16(bsf::bytes_per_sector);
  const uint64_t per_cluster = boot.u8(bsf::sectors_per_cluster);
  const uint64_t reserved = boot.u16(bsf::reserved_sectors);
  const uint64_t fats = boot.u8(bsf::fat_count);
  const uint64_t root_entries = boot.u16(bsf::root_entries);
  const uint64_t total16 = boot.u16(bsf::total_sectors_16);
  const uint64_t fat16_size = boot.u16(bsf::sectors_per_fat_16);
  const uint64_t total = total16 != 0 ? total16 : boot.u32(bsf::total_sectors_32);
  const uint64_t fat_size = fat16_size != 0 ? fat16_size : boot.u32(bsf::sectors_per_fat_32);
  if (!boot.ok() || bytes_per_sector < 512 || bytes_per_sector > 4096 || !vk::is_power_of_two(bytes_per_sector) ||
      !vk::is_power_of_two(per_cluster) || reserved == 0 || fats == 0 || fat_size == 0)
    return volume_content::unknown;
  const uint64_t root_sectors = (root_entries * bsf::fat_dir_entry_size + bytes_per_sector - 1) / bytes_per_sector;
  const uint64_t meta = reserved + fats * fat_size + root_sectors;
  if (total <= meta) return volume_content::unknown;
  const uint64_t clusters = (total - meta) / per_cluster;
  if (clusters < bsf::fat12_cluster_limit) return volume_content::fat12;
  if (clusters < bsf::fat16_cluster_limit) return volume_content::fat16;
  return volume_content::fat32;
}

// The type a content guess stands for, 0 when the content names none.  An
// exFAT volume has no type byte of its own apart from 0x07, which it shares
// with NTFS; guessing 0x07 would make an exFAT volume pass for NTFS.
uint16_t guessed_type_of(volume_content content) {
  switch (content) {
    case volume_content::ntfs: return 0x07;
    case volume_content::fat12: return 0x01;
    case volume_content::fat16: return 0x04;
    case volume_content::fat32: return 0x0B;
    case volume_content::ext: return 0x83;
    case volume_content::exfat:
    case volume_content::bitlocker:
    case volume_content::unknown: return 0;
  }
  return 0;
}

bool table_agrees(uint16_t table_type, volume_content content) {
  switch (content) {
    case volume_content::ntfs: return family_of(table_type) == partition_family::ntfs;
    case volume_content::fat12:
    case volume_content::fat16:
    case volume_content::fat32: return family_of(table_type) == partition_family::fat;
    case volume_content::ext: return family_of(table_type) == partition_family::linux_family;
    case volume_content::exfat:
    case volume_content::bitlocker:
    case volume_content::unknown: return true;
  }
  return true;
}

}  // namespace

bool is_volume_boot_sector(std::span<const uint8_t> sector) {
  for (std::string_view oem : {"EXFA", "MSDO", "NTFS"})
    if (vk::has_bytes_at(sector, bsf::oem_name, oem)) return true;
  return false;
}

bool is_ntfs_boot_sector(std::span<const uint8_t> sector) { return vk::has_bytes_at(sector, bsf::oem_name, bsf::ntfs_oem); }

bool is_master_boot_record(std::span<const uint8_t> sector) {
  const vk::le_reader reader(sector);
  return reader.u16(pf::mbr_signature) == pf::boot_signature && reader.ok() && !is_volume_boot_sector(sector);
}

volume_content classify_volume_content(std::span<const uint8_t> first_bytes) {
  if (is_ntfs_boot_sector(first_bytes)) return volume_content::ntfs;
  if (vk::has_bytes_at(first_bytes, bsf::oem_name, bsf::exfat_oem)) return volume_content::exfat;
  if (vk::has_bytes_at(first_bytes, bsf::oem_name, container_format::bitlocker_oem)) return volume_content::bitlocker;
  const vk::le_reader reader(first_bytes);
  const volume_content fat = classify_fat(reader);
  if (fat != volume_content::unknown) return fat;
  if (reader.u16(pf::ext_magic) == pf::ext_magic_value && reader.ok()) return volume_content::ext;
  return volume_content::unknown;
}

uint16_t type_after_content(uint16_t table_type, volume_content content) {
  const uint16_t guess = guessed_type_of(content);
  if (guess == 0 || table_agrees(table_type, content)) return table_type;
  return partition_type_guessed | guess;
}
