#include "ntfs/ntfs_boot.h"

#include "disk/boot_sector_format.h"
#include "disk/volume_content.h"
#include "support/le_reader.h"

namespace bsf = boot_sector_format;

bool parse_boot_sector(std::span<const uint8_t> sector, NTFS_BOOT& boot) {
  const vk::le_reader reader(sector);
  boot = NTFS_BOOT{};
  if (!reader.has(0, bsf::size)) return false;
  boot.oem_is_ntfs = is_ntfs_boot_sector(sector);
  boot.bytes_per_sector = reader.u16(bsf::bytes_per_sector);
  boot.sectors_per_cluster = reader.u8(bsf::sectors_per_cluster);
  boot.total_sectors = reader.u64(bsf::ntfs_total_sectors);
  boot.mft_lcn = reader.u64(bsf::ntfs_mft_lcn);
  boot.clusters_per_mft_record = static_cast<int8_t>(reader.u8(bsf::ntfs_clusters_per_mft_record));
  boot.clusters_per_index_record = static_cast<int8_t>(reader.u8(bsf::ntfs_clusters_per_index_record));
  return reader.ok();
}
