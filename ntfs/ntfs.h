// CNtfs: an NTFS volume on a disk object.  It reads the boot sector, derives
// the geometry, loads the $MFT runlist and from then on turns an MFT entry
// number into the bytes of its file record, fixed up.
#pragma once

#include <cstdint>
#include <span>

#include "disk/disk.h"
#include "ntfs/data_runs.h"
#include "ntfs/ntfs_boot.h"
#include "ntfs/volume_caches.h"
#include "support/types.h"

class CNtfs {
 public:
  CNtfs(disk& source, uint64_t volume_offset);

  // Reads the boot sector and the $MFT runlist on the first call; returns
  // the cached verdict afterwards.
  bool validate();
  bool is_validated() const { return m_Validated; }

  const NTFS_BOOT& get_boot_sector() const { return m_boot; }
  uint64_t volume_offset() const { return m_volume_offset; }
  uint32_t bytes_per_sector() const { return m_bytes_per_sector; }
  uint32_t cluster_size() const { return m_cluster_size; }
  uint32_t sectors_per_cluster() const { return m_sectors_per_cluster; }
  uint64_t total_clusters() const { return m_total_clusters; }
  // Bytes the boot sector says the volume spans (its backup boot sector, in
  // the sector after, not counted); saturated.
  uint64_t volume_bytes() const;
  uint32_t mft_record_size() const { return m_mft_record_size; }
  uint32_t mft_cluster_per_record_fixed() const { return m_mft_cluster_per_record_fixed; }
  uint64_t mft_file_pos() const { return m_mft_file_pos; }
  uint32_t index_record_size() const { return m_index_record_size; }

  // These need a validated volume; calling them earlier is a programming error.
  const data_run_list& mft_runs() const;
  const data_run_list& bitmap_runs() const;
  uint64_t mft_record_count() const;  // records the $MFT runlist covers, capped by the source
  uint64_t mft_data_size() const;  // bytes of the $MFT stream in use

  // Byte offset from the volume start of MFT entry `entry`; 0 when the entry
  // lies past the runlist (the boot sector then fails the signature check).
  uint64_t record_position(uint64_t entry) const;

  // One fixed-up record in `buffer`.  A "BAAD" record sets `bad` and is
  // returned unrepaired, successfully.
  bool fetch_record(byte_array& buffer, bool& bad, uint64_t entry);

  // Reads bytes at a position relative to the volume start.
  bool read_volume(uint64_t position, std::span<uint8_t> buffer);
  // The most clusters any stream of this volume can cover: the volume's own
  // size, or what the source holds when that is smaller.
  uint64_t cluster_limit() const;

  volume_caches& caches() { return m_caches; }

 private:
  bool derive_geometry();
  bool read_first_record(byte_array& record);
  bool load_mft_runs(const byte_array& record0);
  void require_validated(const char* function) const;

  disk& m_disk;
  uint64_t m_volume_offset;
  NTFS_BOOT m_boot;
  bool m_checked = false;
  bool m_Validated = false;
  uint32_t m_bytes_per_sector = 0;
  uint32_t m_cluster_size = 0;
  uint32_t m_sectors_per_cluster = 0;
  uint64_t m_total_clusters = 0;
  uint32_t m_mft_record_size = 0;
  uint32_t m_mft_cluster_per_record_fixed = 0;
  uint64_t m_mft_file_pos = 0;
  uint32_t m_index_record_size = 0;
  data_run_list m_mft_runs;
  data_run_list m_bitmap_runs;
  uint64_t m_mft_record_count = 0;
  uint64_t m_mft_data_size = 0;
  volume_caches m_caches;
};
