// CNtfs: an NTFS volume on a disk object.  It is built in one direction:
// first the geometry, a pure function of the boot sector; then the $MFT
// runlist, read through that geometry; from then on it turns an MFT entry
// number into the bytes of its file record, fixed up.  A CNtfs exists only
// for a usable volume.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "disk/disk.h"
#include "ntfs/data_runs.h"
#include "ntfs/ntfs_boot.h"
#include "ntfs/volume_caches.h"
#include "support/types.h"

// What the boot sector says of the volume's shape.
struct ntfs_geometry {
  uint32_t bytes_per_sector = 0, sectors_per_cluster = 0, cluster_size = 0;
  uint64_t total_clusters = 0;
  uint32_t mft_record_size = 0, index_record_size = 0;
  // Clusters per MFT record as the boot sector counts them: for a record
  // smaller than a cluster, 0.
  uint32_t mft_cluster_per_record_fixed = 0;
  uint64_t mft_file_pos = 0;  // bytes from the volume start
};

// The geometry a boot sector describes; nothing when it describes no volume
// this tool can read (sector and cluster sizes, record sizes out of bounds).
std::optional<ntfs_geometry> geometry_of(const NTFS_BOOT& boot);

class CNtfs {
 public:
  // Reads the boot sector at `volume_offset`, derives the geometry and loads
  // the $MFT runlist; null when no usable NTFS volume starts there.
  static std::unique_ptr<CNtfs> open(disk& source, uint64_t volume_offset);

  uint64_t volume_offset() const { return m_volume_offset; }
  uint32_t bytes_per_sector() const { return m_bytes_per_sector; }
  uint32_t cluster_size() const { return m_cluster_size; }
  uint32_t sectors_per_cluster() const { return m_sectors_per_cluster; }
  uint64_t total_clusters() const { return m_total_clusters; }
  uint32_t mft_record_size() const { return m_mft_record_size; }
  uint32_t mft_cluster_per_record_fixed() const { return m_mft_cluster_per_record_fixed; }
  uint64_t mft_file_pos() const { return m_mft_file_pos; }
  uint32_t index_record_size() const { return m_index_record_size; }
  // Bytes the boot sector says the volume spans (its backup boot sector, in
  // the sector after, not counted); saturated.
  uint64_t volume_bytes() const;

  const data_run_list& mft_runs() const { return m_mft_runs; }
  uint64_t mft_record_count() const { return m_mft_record_count; }  // records the runlist covers, capped by the source
  uint64_t mft_data_size() const { return m_mft_data_size; }  // bytes of the $MFT stream in use

  // Byte offset from the volume start of MFT entry `entry`; nothing when the
  // entry lies past the runlist or in a sparse run.
  std::optional<uint64_t> record_position(uint64_t entry) const;

  // One fixed-up record in `buffer`.  A "BAAD" record sets `bad` and is
  // returned unrepaired, successfully.  An entry past the runlist is read
  // from the volume's first byte, as NTFS readers do, and then fails the
  // signature check.
  bool fetch_record(byte_array& buffer, bool& bad, uint64_t entry);

  // The first position at or after `position` (from the volume start) that
  // may hold anything but zeros; see disk::next_data.
  uint64_t next_data(uint64_t position) const;

  // Reads bytes at a position relative to the volume start.
  bool read_volume(uint64_t position, std::span<uint8_t> buffer);
  // The most clusters any stream of this volume can cover: the volume's own
  // size, or what the source holds when that is smaller.
  uint64_t cluster_limit() const;

  volume_caches& caches() { return m_caches; }

 private:
  CNtfs(disk& source, uint64_t volume_offset, const NTFS_BOOT& boot, const ntfs_geometry& geometry);
  bool read_first_record(byte_array& record);
  bool load_mft_runs(const byte_array& record0);
  void follow_mft_attribute_list();

  disk& m_disk;
  uint64_t m_volume_offset;
  NTFS_BOOT m_boot;
  uint32_t m_bytes_per_sector;
  uint32_t m_cluster_size;
  uint32_t m_sectors_per_cluster;
  uint64_t m_total_clusters;
  uint32_t m_mft_record_size;
  uint32_t m_mft_cluster_per_record_fixed;
  uint64_t m_mft_file_pos;
  uint32_t m_index_record_size;
  data_run_list m_mft_runs;
  uint64_t m_mft_record_count = 0;
  uint64_t m_mft_data_size = 0;
  volume_caches m_caches;
};
