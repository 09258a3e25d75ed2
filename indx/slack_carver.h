// Carving of an index node's slack: the bytes behind the live entries, where
// entries of deleted or renamed files survive until they are overwritten.
#pragma once

#include <cstdint>
#include <set>

#include "indx/entry_store.h"
#include "support/le_reader.h"
#include "support/types.h"

// Finds remnants of index entries in `slack` (from the position where the
// valid walk stopped to the node's limit) and adds each surviving one to
// stores.slack, with its offset counted from `slack_offset`, the position of
// slack byte 0 in its source.  `directory_ref` is the reference
// the entries of this directory carry as their parent; 0 when unknown.
void carve_node_slack(entry_stores& stores, mft_ref directory_ref, const vk::le_reader& slack,
                      source_offset slack_offset);

// The plausibility test for bytes presumed to start an index entry: a
// terminating entry, or sane lengths, flags, namespace, sizes and a name of
// 1 to 64 units.
bool is_plausible_entry(const vk::le_reader& entry);

// Adds candidate offset `q` unless an overlap rule refuses it; true when added.
bool insert_candidate(std::set<uint64_t>& candidates, uint64_t q);
