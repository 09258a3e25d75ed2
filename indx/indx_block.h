// Analysis of a block of raw INDX records, as held in a file of records
// extracted from a volume beforehand.
#pragma once

#include <cstdint>
#include <span>

#include "indx/entry_store.h"

// Walks the block's whole 4096-byte records in order, repairing each in place
// and parsing its node, valid entries and slack alike; stops at the first
// record without the "INDX" signature or whose node is unusable.  A partial
// record at the end is ignored.  `parent_entry` is the MFT entry number of the
// directory the records belong to, 0 to learn it from the records' own
// entries.  The entries are then merged into `report`.  Returns false for a
// block shorter than 16 bytes and otherwise the merge's result (false when no
// entry was found).
bool analyse_indx_block(std::span<uint8_t> block, uint64_t parent_entry, uint64_t max_plausible_entry,
                        entry_report& report);
