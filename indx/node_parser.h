// The node parser: walks the valid entries of one index node and, when asked,
// carves the node's slack for the remnants of older entries.
#pragma once

#include <cstdint>

#include "indx/entry_store.h"
#include "support/le_reader.h"
#include "support/types.h"

// `node` starts at the index node header and ends at the node's limit (the
// end of the record, or of the index root value).  `directory_ref` is the
// directory's own reference, 0 when unknown (it is then learned from the
// first valid entry).  `node_offset` is the position of the node header in
// its source, to which every entry's offset is added.  Returns false when the
// node is unusable (its entries offset lies outside the node); record loops
// stop there.
bool parse_index_node(entry_stores& stores, mft_ref directory_ref, const vk::le_reader& node,
                      source_offset node_offset, bool carve_slack);
