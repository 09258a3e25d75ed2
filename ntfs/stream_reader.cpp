#include "ntfs/stream_reader.h"

#include <algorithm>

#include "ntfs/ntfs.h"
#include "support/check.h"

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
