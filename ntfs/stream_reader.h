// Reading the stream of a non-resident attribute through its runlist.
#pragma once

#include <cstdint>
#include <span>

#include "ntfs/data_runs.h"

class CNtfs;

// Reads `count` clusters of the stream from VCN `first_vcn` into `out`,
// which must hold count x cluster size bytes.  Each stretch of contiguous
// clusters is one read; sparse clusters read as zeros.  False when a cluster
// is mapped by no run or a read fails (`out` is then partly filled).
bool read_stream_clusters(CNtfs& volume, const data_run_list& runs, uint64_t first_vcn, uint64_t count,
                          std::span<uint8_t> out);
