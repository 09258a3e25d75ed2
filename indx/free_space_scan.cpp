#include "indx/free_space_scan.h"

#include <algorithm>

#include "indx/indx_format.h"
#include "ntfs/attributes.h"
#include "ntfs/mft_format.h"
#include "ntfs/mft_record.h"
#include "ntfs/multi_sector.h"
#include "ntfs/ntfs.h"
#include "ntfs/stream_reader.h"
#include "support/le_reader.h"

namespace {

// Free space is read this many bytes at a time (or one cluster, when larger).
constexpr uint64_t chunk_bytes = uint64_t{4} << 20;
// The $Bitmap is read this many bytes at a time: 8 Mi clusters.
constexpr uint64_t bitmap_window_bytes = uint64_t{1} << 20;
// INDX records start on a 512-byte boundary of the volume.
constexpr uint64_t record_alignment = 512;
constexpr uint8_t all_in_use = 0xff;
constexpr uint64_t bitmap_entry = 6;

// The volume's cluster bitmap, one window at a time.  Clusters are asked
// for in ascending order, so each window is read once per pass.
class cluster_bitmap {
 public:
  explicit cluster_bitmap(CNtfs& volume) : m_volume(volume) {
    mft_record record;
    if (!load_mft_record(volume, bitmap_entry, record)) return;
    const mft_attribute* data = find_attribute(record.attributes, mft_format::type_data, "");
    if (data == nullptr) return;
    if (!data->non_resident) {
      m_window.assign(data->resident_value().begin(), data->resident_value().end());
      m_bytes = m_window.size();
      m_resident = m_readable = true;
      return;
    }
    m_runs = stream_runs(record.attributes, mft_format::type_data, "");
    m_bytes = data->data_size();
    m_readable = !m_runs.empty() && m_bytes != 0;
  }

  bool readable() const { return m_readable; }

  bool free(uint64_t cluster) {
    if (!m_readable) return true;
    const uint64_t byte = cluster / 8;
    if (byte >= m_bytes || !load(byte)) return true;
    return (m_window[byte - m_window_first] >> (cluster % 8) & 1) == 0;
  }

  // True when the eight clusters of bitmap byte `byte` are all in use.
  bool byte_all_in_use(uint64_t byte) {
    return m_readable && byte < m_bytes && load(byte) && m_window[byte - m_window_first] == all_in_use;
  }

 private:
  // Brings the window holding `byte` in; a window that cannot be read holds
  // zeros (free), so its clusters are searched rather than lost.
  bool load(uint64_t byte) {
    if (m_resident || (byte >= m_window_first && byte < m_window_first + m_window.size())) return true;
    const uint64_t cluster = m_volume.cluster_size();
    const uint64_t window = std::max(bitmap_window_bytes / cluster, uint64_t{1}) * cluster;
    m_window_first = byte / window * window;
    m_window.assign(std::min(window, (m_bytes - m_window_first + cluster - 1) / cluster * cluster), 0);
    if (!read_stream_clusters(m_volume, m_runs, m_window_first / cluster, m_window.size() / cluster, m_window))
      std::fill(m_window.begin(), m_window.end(), 0);
    return true;
  }

  CNtfs& m_volume;
  data_run_list m_runs;
  uint64_t m_bytes = 0;
  bool m_readable = false, m_resident = false;
  byte_array m_window;
  uint64_t m_window_first = 0;
};

uint64_t free_clusters_below(cluster_bitmap& bitmap, uint64_t limit) {
  uint64_t free = 0;
  for (uint64_t cluster = 0; cluster < limit;) {
    if (cluster % 8 == 0 && cluster + 8 <= limit && bitmap.byte_all_in_use(cluster / 8)) {
      cluster += 8;
      continue;
    }
    free += bitmap.free(cluster) ? 1 : 0;
    ++cluster;
  }
  return free;
}

class scanner {
 public:
  scanner(CNtfs& volume, const free_space_scan& scan)
      : m_volume(volume),
        m_scan(scan),
        m_bitmap(volume),
        m_cluster(volume.cluster_size()),
        m_record(volume.index_record_size()),
        m_limit(std::min(volume.total_clusters(), volume.cluster_limit())),
        m_chunk_clusters(std::max<uint64_t>(1, chunk_bytes / m_cluster)) {}

  free_space_result run() {
    const uint64_t total = free_clusters_below(m_bitmap, m_limit) * m_cluster;
    for (uint64_t cluster = next_free(0); cluster < m_limit; cluster = next_free(cluster)) {
      const uint64_t end = free_stretch_end(cluster);
      read_stretch(cluster, end - cluster);
      m_done += (end - cluster) * m_cluster;
      if (m_scan.progress) m_scan.progress(m_done, total);
      cluster = end;
    }
    return {m_bitmap.readable(), m_read};
  }

 private:
  // The first wanted cluster at or after `cluster`; whole bitmap bytes of
  // clusters in use are passed over at once.
  uint64_t next_free(uint64_t cluster) {
    while (cluster < m_limit) {
      if (cluster % 8 == 0 && m_bitmap.byte_all_in_use(cluster / 8)) {
        cluster += 8;
      } else if (m_scan.skipped != nullptr && m_scan.skipped->contains(cluster)) {
        cluster = m_scan.skipped->next_outside(cluster);
      } else if (!m_bitmap.free(cluster)) {
        ++cluster;
      } else {
        return cluster;
      }
    }
    return m_limit;
  }

  // The end of the stretch of wanted clusters from `first`, one chunk at most.
  uint64_t free_stretch_end(uint64_t first) {
    const uint64_t cap = std::min(m_limit, first + m_chunk_clusters);
    const uint64_t stop = m_scan.skipped != nullptr ? std::min(cap, m_scan.skipped->next_inside(first)) : cap;
    uint64_t end = first + 1;
    while (end < stop && m_bitmap.free(end)) ++end;
    return end;
  }

  // Holes of a sparse image read as zeros, which hold no record: the stretch
  // is read from the first cluster that may hold data.
  void read_stretch(uint64_t first, uint64_t count) {
    const uint64_t data = m_volume.next_data(first * m_cluster) / m_cluster;
    if (data >= first + count) return;
    if (data > first) {
      count -= data - first;
      first = data;
    }
    m_buffer.resize(count * m_cluster);
    const uint64_t start = first * m_cluster;
    if (!m_volume.read_volume(start, m_buffer)) return;
    m_read += m_buffer.size();
    for (uint64_t p = 0; p + multi_sector_format::header_size <= m_buffer.size(); p += record_alignment) {
      if (start + p < m_resume_at) continue;
      if (record_signature(std::span<const uint8_t>(m_buffer).subspan(p)) == multi_sector_format::signature_indx)
        take_record(start + p, p);
    }
  }

  // A record running past the stretch is read again from the volume whole.
  void take_record(uint64_t position, uint64_t in_buffer) {
    found_index_record record;
    record.volume_offset = position;
    if (in_buffer + m_record <= m_buffer.size()) {
      record.bytes.assign(m_buffer.begin() + static_cast<ptrdiff_t>(in_buffer),
                          m_buffer.begin() + static_cast<ptrdiff_t>(in_buffer + m_record));
    } else {
      record.bytes.resize(m_record);
      if (!m_volume.read_volume(position, record.bytes)) return;
    }
    if (!take_in_found_record(record.bytes, m_volume.bytes_per_sector(), record.damaged_words)) return;
    // The record's own bytes are not searched again for signatures.
    m_resume_at = position + m_record;
    m_scan.found(std::move(record));
  }

  CNtfs& m_volume;
  const free_space_scan& m_scan;
  cluster_bitmap m_bitmap;
  const uint64_t m_cluster, m_record, m_limit, m_chunk_clusters;
  byte_array m_buffer;
  uint64_t m_resume_at = 0, m_done = 0, m_read = 0;
};

}  // namespace

void cluster_ranges::add(uint64_t first, uint64_t count) {
  if (count != 0) m_ranges.emplace_back(first, first + std::min(count, UINT64_MAX - first));
}

void cluster_ranges::seal() {
  std::sort(m_ranges.begin(), m_ranges.end());
  std::vector<std::pair<uint64_t, uint64_t>> joined;
  for (const auto& range : m_ranges) {
    if (!joined.empty() && range.first <= joined.back().second) {
      joined.back().second = std::max(joined.back().second, range.second);
    } else {
      joined.push_back(range);
    }
  }
  m_ranges = std::move(joined);
}

bool cluster_ranges::contains(uint64_t cluster) const { return next_outside(cluster) != cluster; }

uint64_t cluster_ranges::next_outside(uint64_t cluster) const {
  // The last range starting at or before the cluster.
  auto it = std::upper_bound(m_ranges.begin(), m_ranges.end(), std::make_pair(cluster, UINT64_MAX));
  if (it == m_ranges.begin()) return cluster;
  --it;
  return cluster < it->second ? it->second : cluster;
}

uint64_t cluster_ranges::next_inside(uint64_t cluster) const {
  const auto it = std::upper_bound(m_ranges.begin(), m_ranges.end(), std::make_pair(cluster, UINT64_MAX));
  return it == m_ranges.end() ? UINT64_MAX : it->first;
}

free_space_result scan_free_space(CNtfs& volume, const free_space_scan& scan) {
  if (volume.cluster_size() == 0 || volume.index_record_size() == 0 || !scan.found) return {};
  return scanner(volume, scan).run();
}
