#include "ntfs/ntfs_boot.h"

#include <algorithm>
#include <string_view>

#include "support/le_reader.h"

bool parse_boot_sector(std::span<const uint8_t> sector, NTFS_BOOT& boot) {
  const vk::le_reader reader(sector);
  boot = NTFS_BOOT{};
  if (!reader.has(0, boot_format::sector_size)) return false;
  constexpr std::string_view ntfs_oem = "NTFS    ";
  const auto oem = sector.subspan(boot_format::oem_name, boot_format::oem_name_length);
  boot.oem_is_ntfs = std::equal(oem.begin(), oem.end(), ntfs_oem.begin(), ntfs_oem.end(),
                                [](uint8_t byte, char c) { return byte == static_cast<uint8_t>(c); });
  boot.bytes_per_sector = reader.u16(boot_format::bytes_per_sector);
  boot.sectors_per_cluster = reader.u8(boot_format::sectors_per_cluster);
  boot.total_sectors = reader.u64(boot_format::total_sectors);
  boot.mft_lcn = reader.u64(boot_format::mft_lcn);
  boot.clusters_per_mft_record = static_cast<int8_t>(reader.u8(boot_format::clusters_per_mft_record));
  boot.clusters_per_index_record = static_cast<int8_t>(reader.u8(boot_format::clusters_per_index_record));
  return reader.ok();
}
