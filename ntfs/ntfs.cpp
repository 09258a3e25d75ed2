#include "ntfs/ntfs.h"

#include <algorithm>

#include "disk/boot_sector_format.h"
#include "ntfs/attributes.h"
#include "ntfs/mft_format.h"
#include "ntfs/mft_record.h"
#include "support/checked_math.h"
#include "support/le_reader.h"
#include "support/run_log.h"

namespace {

// Geometry bounds.  Real volumes use 512- or 4096-byte sectors, clusters of
// 512 bytes to 2 MiB, MFT records of 1024 or 4096 bytes and index records of
// 4096; anything outside these bounds comes from a damaged or hostile boot
// sector and must never reach a division or an allocation.
constexpr uint32_t min_sector_size = 512;
constexpr uint32_t max_sector_size = 4096;
constexpr uint64_t max_cluster_size = 2 * 1024 * 1024;
constexpr uint32_t min_record_size = 256;
constexpr uint32_t max_record_size = 64 * 1024;
constexpr uint32_t default_mft_record_size = 1024;
constexpr uint32_t default_index_record_size = 4096;

// A sectors-per-cluster byte above 0x80 encodes 2^(256 - byte) sectors, the
// form newer Windows writes for clusters beyond 64 KiB.
constexpr uint8_t sectors_per_cluster_exponent_form = 0x80;

// Passes over $MFT's attribute list: an extension record holding a later
// extent of $MFT may itself lie in an extent only the previous pass mapped.
constexpr int mft_extent_passes = 4;

// A record size from its signed clusters-per-record byte: negative n means
// 2^-n bytes, positive n means n clusters.  0 when the result is unusable.
uint32_t record_size_from(int8_t clusters_per_record, uint32_t cluster_size, uint32_t when_zero) {
  uint64_t size = when_zero;
  if (clusters_per_record < 0) {
    const int shift = -clusters_per_record;
    size = shift < 32 ? uint64_t{1} << shift : 0;
  } else if (clusters_per_record > 0) {
    size = uint64_t{cluster_size} * static_cast<uint64_t>(clusters_per_record);
  }
  if (!vk::is_power_of_two(size) || size < min_record_size || size > max_record_size) return 0;
  return static_cast<uint32_t>(size);
}

uint64_t sectors_per_cluster_from(uint8_t stored) {
  if (stored <= sectors_per_cluster_exponent_form) return stored;
  const unsigned shift = 256u - stored;
  return shift < 32 ? uint64_t{1} << shift : 0;
}

}  // namespace

std::optional<ntfs_geometry> geometry_of(const NTFS_BOOT& boot) {
  const uint32_t sector = boot.bytes_per_sector;
  const uint64_t sectors = sectors_per_cluster_from(boot.sectors_per_cluster);
  if (!vk::is_power_of_two(sector) || sector < min_sector_size || sector > max_sector_size) return std::nullopt;
  if (!vk::is_power_of_two(sectors) || sectors * sector > max_cluster_size) return std::nullopt;
  ntfs_geometry geometry;
  geometry.bytes_per_sector = sector;
  geometry.sectors_per_cluster = static_cast<uint32_t>(sectors);
  geometry.cluster_size = static_cast<uint32_t>(sectors * sector);
  geometry.total_clusters = boot.total_sectors / sectors;
  geometry.mft_record_size =
      record_size_from(boot.clusters_per_mft_record, geometry.cluster_size, default_mft_record_size);
  if (geometry.mft_record_size == 0) return std::nullopt;
  geometry.mft_cluster_per_record_fixed = boot.clusters_per_mft_record < 0
                                              ? geometry.mft_record_size / geometry.cluster_size
                                              : static_cast<uint32_t>(boot.clusters_per_mft_record);
  geometry.index_record_size =
      record_size_from(boot.clusters_per_index_record, geometry.cluster_size, default_index_record_size);
  if (geometry.index_record_size == 0) geometry.index_record_size = default_index_record_size;
  if (boot.mft_lcn > UINT64_MAX / geometry.cluster_size) return std::nullopt;
  geometry.mft_file_pos = boot.mft_lcn * geometry.cluster_size;
  return geometry;
}

std::unique_ptr<CNtfs> CNtfs::open(disk& source, uint64_t volume_offset) {
  if (!source.is_open() || volume_offset > UINT64_MAX - boot_sector_format::size) return nullptr;
  byte_array sector(boot_sector_format::size);
  NTFS_BOOT boot;
  if (!source.read_exact(volume_offset, sector) || !parse_boot_sector(sector, boot) || !boot.oem_is_ntfs)
    return nullptr;
  const std::optional<ntfs_geometry> geometry = geometry_of(boot);
  if (!geometry) return nullptr;
  std::unique_ptr<CNtfs> volume(new CNtfs(source, volume_offset, boot, *geometry));
  byte_array record0;
  if (!volume->read_first_record(record0) || !volume->load_mft_runs(record0)) return nullptr;
  return volume;
}

CNtfs::CNtfs(disk& source, uint64_t volume_offset, const NTFS_BOOT& boot, const ntfs_geometry& geometry)
    : m_disk(source),
      m_volume_offset(volume_offset),
      m_boot(boot),
      m_bytes_per_sector(geometry.bytes_per_sector),
      m_cluster_size(geometry.cluster_size),
      m_sectors_per_cluster(geometry.sectors_per_cluster),
      m_total_clusters(geometry.total_clusters),
      m_mft_record_size(geometry.mft_record_size),
      m_mft_cluster_per_record_fixed(geometry.mft_cluster_per_record_fixed),
      m_mft_file_pos(geometry.mft_file_pos),
      m_index_record_size(geometry.index_record_size) {}

// Record 0 describes $MFT itself.  A record whose word count implies a
// larger size than the boot sector gives (a 4096-byte record on a volume
// that claims 1024) wins, and record 0 is read again at that size.
bool CNtfs::read_first_record(byte_array& record) {
  record.assign(m_mft_record_size, 0);
  if (!read_volume(m_mft_file_pos, record)) return false;
  const size_t implied = implied_record_size(record);
  if (implied > m_mft_record_size && implied <= max_record_size) {
    m_mft_record_size = static_cast<uint32_t>(implied);
    record.assign(m_mft_record_size, 0);
    if (!read_volume(m_mft_file_pos, record)) return false;
  }
  if (!is_well_formed_file_record(record)) return false;
  return fix_up_record(record, m_bytes_per_sector) == record_kind::file;
}

bool CNtfs::load_mft_runs(const byte_array& record0) {
  const std::vector<mft_attribute> attributes = copy_attributes(record0, 0);
  m_mft_runs = stream_runs(attributes, mft_format::type_data, "");
  if (const mft_attribute* data = find_attribute(attributes, mft_format::type_data, "")) {
    m_mft_data_size = data->data_size();
  }
  if (m_mft_runs.empty()) return false;
  if (find_attribute(attributes, mft_format::type_attribute_list, "") != nullptr) follow_mft_attribute_list();
  const uint32_t stride = read_record_header(record0).bytes_allocated;
  const uint64_t bytes = vk::saturating_mul(::total_clusters(m_mft_runs), m_cluster_size);
  const uint64_t source_bytes = m_disk.size() > m_volume_offset ? m_disk.size() - m_volume_offset : 0;
  m_mft_record_count = stride == 0 ? 0 : std::min(bytes / stride, source_bytes / m_mft_record_size);
  return true;
}

// A fragmented $MFT keeps the runs of its later extents in extension
// records, which are themselves fetched through the runs known so far; an
// extension record holding a later extent may lie in an extent only the
// previous pass mapped.
void CNtfs::follow_mft_attribute_list() {
  for (int pass = 0; pass < mft_extent_passes; ++pass) {
    mft_record mft;
    if (!load_mft_record(*this, 0, mft)) return;
    data_run_list runs = stream_runs(mft.attributes, mft_format::type_data, "");
    if (::total_clusters(runs) <= ::total_clusters(m_mft_runs)) return;
    m_mft_runs = std::move(runs);
  }
}

uint64_t CNtfs::volume_bytes() const {
  const uint64_t sectors = m_boot.total_sectors;
  return m_bytes_per_sector != 0 && sectors > UINT64_MAX / m_bytes_per_sector ? UINT64_MAX
                                                                                : sectors * m_bytes_per_sector;
}

std::optional<uint64_t> CNtfs::record_position(uint64_t entry) const {
  if (entry > UINT64_MAX / m_mft_record_size) return std::nullopt;
  const uint64_t byte = entry * m_mft_record_size;
  const uint64_t vcn = byte / m_cluster_size;
  const auto where = locate_vcn(m_mft_runs, vcn, m_cluster_size);
  if (!where || where->sparse) return std::nullopt;
  return (byte - vcn * m_cluster_size) + where->position;
}

bool CNtfs::fetch_record(byte_array& buffer, bool& bad, uint64_t entry) {
  bad = false;
  // A directory record the scan kept is the record a read would give.
  if (const auto kept = m_caches.directory_records.find(entry); kept != m_caches.directory_records.end()) {
    buffer = kept->second;
    return true;
  }
  buffer.assign(m_mft_record_size, 0);
  if (!read_volume(record_position(entry).value_or(0), buffer)) return false;
  switch (fix_up_record(buffer, m_bytes_per_sector)) {
    case record_kind::file:
    case record_kind::indx:
      return true;
    case record_kind::baad:
      vk::log_line("err: fixup_mft type: BAAD");
      bad = true;
      return true;
    case record_kind::invalid:
      break;
  }
  return false;
}

bool CNtfs::read_volume(uint64_t position, std::span<uint8_t> buffer) {
  if (position > UINT64_MAX - m_volume_offset) return false;
  return m_disk.read_exact(m_volume_offset + position, buffer);
}

uint64_t CNtfs::cluster_limit() const {
  const uint64_t source_bytes = m_disk.size() > m_volume_offset ? m_disk.size() - m_volume_offset : 0;
  const uint64_t source_clusters = source_bytes / m_cluster_size;
  return m_total_clusters == 0 ? source_clusters : std::min(m_total_clusters, source_clusters);
}

uint64_t CNtfs::next_data(uint64_t position) const {
  if (position > UINT64_MAX - m_volume_offset) return position;
  const uint64_t data = m_disk.next_data(m_volume_offset + position);
  return data > m_volume_offset + position ? data - m_volume_offset : position;
}
