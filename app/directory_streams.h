// A directory's $I30 index read from the volume: the index root node held
// in its MFT record ($INDEX_ROOT) and the INDX records of its
// $INDEX_ALLOCATION stream, parsed node by node, valid entries and slack.
//
// Only the index named "$I30" is read.  Other indexes ($SDH and $SII of
// $Secure, $O and $Q of the $Extend files, ...) use the same attribute types
// but their keys are not file names, and parsing them as such would report
// garbage as directory entries.
#pragma once

#include <cstdint>
#include <vector>

#include "app/indx_options.h"
#include "indx/entry_store.h"
#include "indx/found_record.h"
#include "ntfs/path_lookup.h"
#include "ntfs/volume_caches.h"
#include "support/types.h"

class CNtfs;

// One directory's analysis, reused and cleared per directory.
struct directory_index {
  // The index root's node bytes, from its node header to the end of the
  // attribute: an entry of the root at offset o starts at root[o].
  byte_array root;
  // The whole $INDEX_ALLOCATION stream as read and fixed up (unreadable
  // chunks as zeros): an entry at stream offset o starts at alloc[o].
  byte_array alloc;
  // The live entries of the attributes merged so far: the allocation's slack
  // is compared with the root's live names too.  (Slack entries move into
  // the report.)
  entry_stores stores;
  entry_report report;
  // With -unalloc: the bytes of the MFT record whose slack was carved, and
  // the clusters of the allocation read (the free-space scan skips them).
  kept_records carved;
  std::vector<std::pair<uint64_t, uint64_t>> allocation_clusters;

  void clear();
};

// Empties `out`, fetches the directory's record and parses its $I30 root and
// allocation in attribute order, carving slack in both, then merges each.
// The entries of INDX records that the index's $BITMAP marks as released,
// and all entries of a directory whose MFT record is not in use, are merged
// as slack.
// With options.unalloc the slack of the directory's MFT record (past its
// used size) is carved too and merged as the entries of a third source.
// `record_sequence` completes the directory's reference that the slack
// carver searches for.  With options.raw_dump the raw streams are written to
// files named after options.dump_base_name.  True when at least one entry
// was collected.
bool analyse_directory(CNtfs& volume, const indx_options& options, uint64_t entry, uint16_t record_sequence,
                       directory_index& out);

// The live entries of a directory's $I30 index (no slack), for path lookup.
// False when the directory's record cannot be read.
bool read_directory_children(CNtfs& volume, uint64_t entry, std::vector<directory_child>& children);

// The reader path lookup takes: each directory's live entries, from its index.
children_reader children_of_directories(CNtfs& volume);
