#include "ntfs/stream_reader.h"

#include <algorithm>

#include "ntfs/ntfs.h"
#include "support/check.h"

byte_array attribute_value(CNtfs& volume, const mft_attribute& attribute, uint64_t max_bytes) {
  if (!attribute.non_resident) {
    const auto value = attribute.resident_value();
    const auto kept = value.first(static_cast<size_t>(std::min<uint64_t>(value.size(), max_bytes)));
    return byte_array(kept.begin(), kept.end());
  }
  data_run_list runs;
  decode_mapping_pairs(attribute.bytes, runs);
  const uint64_t cluster = volume.cluster_size();
  const uint64_t clusters = std::min(total_clusters(runs), (max_bytes + cluster - 1) / cluster);
  byte_array value(clusters * cluster);
  uint64_t read = 0;
  while (read < clusters &&
         read_stream_clusters(volume, runs, read, 1, std::span<uint8_t>(value).subspan(read * cluster, cluster))) {
    ++read;
  }
  uint64_t size = read * cluster;
  if (attribute.data_size() != 0) size = std::min(size, attribute.data_size());
  value.resize(std::min(size, max_bytes));
  return value;
}

bool read_stream_clusters(CNtfs& volume, const data_run_list& runs, uint64_t first_vcn, uint64_t count,
                          std::span<uint8_t> out) {
  const uint64_t cluster = volume.cluster_size();
  SLIX_CHECK(cluster != 0 && count <= out.size() / cluster);
  uint64_t done = 0;
  while (done < count) {
    const auto where = locate_vcn(runs, first_vcn + done, cluster);
    if (!where) return false;
    const uint64_t clusters = std::min(where->clusters_left, count - done);
    const auto piece = out.subspan(done * cluster, clusters * cluster);
    if (where->sparse) {
      std::fill(piece.begin(), piece.end(), 0);
    } else if (!volume.read_volume(where->position, piece)) {
      return false;
    }
    done += clusters;
  }
  return true;
}
