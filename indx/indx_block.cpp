#include "indx/indx_block.h"

#include "indx/indx_format.h"
#include "indx/merge.h"
#include "indx/node_parser.h"
#include "ntfs/mft_format.h"
#include "ntfs/multi_sector.h"
#include "support/types.h"

namespace {

// Records of an INDX file were written with 512-byte sectors, whatever the
// sector size of the volume they came from.
constexpr size_t indx_file_sector_size = 512;

// Shorter than this, a block cannot hold even a record header worth reading.
constexpr size_t min_block_size = 16;

}  // namespace

bool analyse_indx_block(std::span<uint8_t> block, uint64_t parent_entry, uint64_t max_plausible_entry,
                        entry_report& report) {
  if (block.size() < min_block_size) return false;
  entry_stores stores;
  const size_t records = block.size() / indx_format::record_size;
  // No record holds more entries than fit in it whole; reserving for that
  // many keeps the entries from being copied as the vector grows, and the
  // room never written to costs no memory.
  stores.entries.reserve(records * (indx_format::record_size / indx_format::entry_min_size));
  for (size_t k = 0; k < records; ++k) {
    const std::span<uint8_t> record = block.subspan(k * indx_format::record_size, indx_format::record_size);
    if (record_signature(record) != multi_sector_format::signature_indx) break;
    apply_fixup(record, indx_file_sector_size);
    // Once known, the directory is kept for the rest of the block; its
    // sequence number is left 0 so that each node supplies its own.
    if (parent_entry == 0 && stores.first_valid() != nullptr)
      parent_entry = mft_entry_of(stores.first_valid()->parent_ref());
    const vk::le_reader node =
        vk::le_reader(record).sub(indx_format::rec_node_header, indx_format::node_limit_in_record);
    const source_offset node_offset{offset_frame::indx_file, k * indx_format::record_size + indx_format::rec_node_header};
    if (!parse_index_node(stores, make_mft_ref(parent_entry, 0), node, node_offset, true)) break;
  }
  return merge_entries(report, stores, entry_source::index_allocation, max_plausible_entry);
}
