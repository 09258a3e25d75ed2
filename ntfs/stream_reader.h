// Reading the stream of a non-resident attribute through its runlist.
#pragma once

#include <cstdint>
#include <span>

#include "ntfs/attributes.h"
#include "ntfs/data_runs.h"
#include "support/types.h"

class CNtfs;

// Reads `count` clusters of the stream from VCN `first_vcn` into `out`,
// which must hold count x cluster size bytes.  Each stretch of contiguous
// clusters is one read; sparse clusters read as zeros.  False when a cluster
// is mapped by no run or a read fails (`out` is then partly filled).
bool read_stream_clusters(CNtfs& volume, const data_run_list& runs, uint64_t first_vcn, uint64_t count,
                          std::span<uint8_t> out);

// The value of an attribute, resident or not, up to `max_bytes` (small
// metadata: attribute lists, reparse data, index bitmaps).  A non-resident
// value is read a cluster at a time and ends at the first cluster that
// cannot be read, so a damaged tail still leaves what came before it; it is
// cut to the attribute's stated size.
byte_array attribute_value(CNtfs& volume, const mft_attribute& attribute, uint64_t max_bytes);
