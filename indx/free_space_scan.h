// The search of a volume's free clusters for INDX records.  When NTFS
// deletes a directory, or shrinks its index, it frees the clusters of its
// INDX records without wiping them; once the directory's MFT record is
// reused, nothing on the volume leads to them any more.  The scan reads the
// clusters the volume's $Bitmap marks free, in large sequential chunks, and
// takes in every record whose "INDX" signature starts a 512-byte block.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "indx/found_record.h"
#include "support/types.h"

class CNtfs;

// Cluster ranges [first, first + count) the scan must skip: the index
// allocations the run has read already.
class cluster_ranges {
 public:
  void add(uint64_t first, uint64_t count);
  // Sorts and joins the ranges; call once all are added.
  void seal();
  bool contains(uint64_t cluster) const;
  // The first cluster at or after `cluster` that no range holds.
  uint64_t next_outside(uint64_t cluster) const;
  // The first cluster after `cluster` that a range holds; UINT64_MAX when none.
  uint64_t next_inside(uint64_t cluster) const;

 private:
  std::vector<std::pair<uint64_t, uint64_t>> m_ranges;  // first, end
};

struct free_space_scan {
  const cluster_ranges* skipped = nullptr;
  // Told of every record found, in volume order.
  std::function<void(found_index_record&&)> found;
  // Told of the bytes of free space passed so far and of their total.
  std::function<void(uint64_t done, uint64_t total)> progress;
};

struct free_space_result {
  // False when the volume's $Bitmap (MFT entry 6) could not be read: every
  // cluster was then taken as free.
  bool bitmap_read = false;
  uint64_t bytes_read = 0;
};

// Scans the clusters of `volume` that its $Bitmap marks free (bit n set
// while cluster n is in use; clusters past the bitmap's end count as free).
// The bitmap is read a window at a time, so memory does not grow with the
// volume; clusters that cannot be read are passed over.
free_space_result scan_free_space(CNtfs& volume, const free_space_scan& scan);
