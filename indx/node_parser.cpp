#include "indx/node_parser.h"

#include "indx/entry_decode.h"
#include "indx/indx_format.h"
#include "indx/slack_carver.h"

namespace {

// A used size past the last byte of a 4096-byte record cannot describe a
// real node: such a node yields no valid entries (its slack is still carved).
constexpr int64_t max_used_size = 4095;
// Entries and keys up to 512 bytes are taken as they are.  A longer entry is
// live only when it is well formed: a name of up to 255 UTF-16 units makes
// an entry of at most 592 bytes (already a multiple of 8), 8 more in an
// upper node for the sub-node's VCN, and its key holds the whole name and
// fits in the entry.  Anything else is damage and ends the walk.
constexpr uint16_t short_entry_length = 512, max_key_length = 512;
constexpr uint8_t max_name_units = 255;
constexpr uint16_t subnode_vcn_size = 8;
constexpr uint32_t max_entry_length = indx_format::entry_span(max_name_units) + subnode_vcn_size;
// The walk goes on only while the following entry announces a length in this
// range; anything else is the end of the live area or garbage.
constexpr uint16_t min_next_length = 1, max_next_length = 1024;

const char* const name_not_present = "<name not present>";

struct walk_result {
  size_t stop = 0;            // node offset where the walk stopped: slack starts here
  mft_ref directory_ref = 0;  // the reference the slack carver searches for
};

bool is_last_entry(uint16_t flags) {
  return flags == indx_format::entry_flag_last ||
         flags == (indx_format::entry_flag_last | indx_format::entry_flag_subnode);
}

// Whether an entry longer than 512 bytes is one a real long name makes: its
// key holds the whole name, and its length is the head and the key rounded
// up to 8 bytes, and the sub-node's VCN when it has one.
bool long_entry_well_formed(uint16_t length, uint16_t key_length, uint16_t flags, uint8_t units) {
  const uint32_t vcn = (flags & indx_format::entry_flag_subnode) != 0 ? subnode_vcn_size : 0;
  const uint32_t head_and_key = indx_format::ent_key + key_length;
  const uint32_t expected = ((head_and_key + 7) & ~uint32_t{7}) + vcn;
  return length <= max_entry_length && key_length >= file_name_format::value_size(units) && length == expected;
}

// Whether the entry's lengths end the live walk.
bool lengths_end_walk(uint16_t length, uint16_t key_length, uint16_t flags, uint8_t units) {
  if (length <= short_entry_length) return key_length > max_key_length;
  return !long_entry_well_formed(length, key_length, flags, units);
}

// A directory reference with a zero entry or sequence number takes the
// missing part from the parent reference of the node's first valid entry.
mft_ref complete_directory_ref(mft_ref known, mft_ref first_parent) {
  const uint64_t entry = mft_entry_of(known) != 0 ? mft_entry_of(known) : mft_entry_of(first_parent);
  const uint16_t sequence = mft_sequence_of(known) != 0 ? mft_sequence_of(known) : mft_sequence_of(first_parent);
  return make_mft_ref(entry, sequence);
}

indx_entry decode_valid_entry(const vk::le_reader& entry, source_offset offset) {
  indx_entry decoded = decode_entry_fields(entry);
  decoded.is_valid = true;
  decoded.offset = offset;
  const uint8_t units = decoded.name_length();
  decoded.name = units == 0 ? name_not_present : decode_entry_name(entry, units);
  return decoded;
}

// Walks the live entries from node offset `first` on, storing each one.  The
// used size counts from the node header, as the entries offset does, and
// includes the header: the live area ends at node offset `used_end`.  An
// entry that starts there or past it is slack, whatever it looks like (a
// copy planted where the terminating entry stood); one that starts inside
// and runs past it is the last live entry.
walk_result walk_valid_entries(entry_stores& stores, mft_ref directory_ref, const vk::le_reader& node, size_t first,
                               source_offset node_offset) {
  walk_result walk{first, directory_ref};
  const uint32_t used_end = node.u32(indx_format::node_used_size);
  if (used_end > max_used_size) return walk;
  bool first_entry = true;
  while (walk.stop < used_end) {
    const vk::le_reader entry = node.from(walk.stop);
    const mft_ref file_ref = entry.u64(indx_format::ent_file_ref);
    const uint16_t length = entry.u16(indx_format::ent_length);
    const uint16_t key_length = entry.u16(indx_format::ent_key_length);
    const uint16_t flags = entry.u16(indx_format::ent_flags);
    const uint8_t units = entry.u8(indx_format::key_field(file_name_format::name_length));
    if (!entry.ok() || !entry.has(0, indx_format::entry_span(units))) break;
    if (lengths_end_walk(length, key_length, flags, units) || file_ref == 0 || is_last_entry(flags)) break;
    indx_entry decoded = decode_valid_entry(entry, node_offset + walk.stop);
    if (first_entry) walk.directory_ref = complete_directory_ref(directory_ref, decoded.parent_ref());
    first_entry = false;
    stores.add_valid(std::move(decoded));
    // The entry fitted inside the node, so its offset is within the limit.
    if (walk.stop + length > used_end) break;
    walk.stop += length;
    const uint16_t next_length = node.from(walk.stop).u16(indx_format::ent_length);
    if (next_length < min_next_length || next_length > max_next_length) break;
  }
  return walk;
}

}  // namespace

bool parse_index_node(entry_stores& stores, mft_ref directory_ref, const vk::le_reader& node_view, source_offset node_offset,
                      bool carve_slack) {
  // A reader of our own, so failed reads past the node never mark the caller's.
  const vk::le_reader node(node_view.bytes());
  // A node too short for its own header is treated like a missing one.
  if (!node.has(0, indx_format::node_header_size)) return false;
  const int64_t first = node.i32(indx_format::node_entries_offset);
  const size_t limit = node.size();
  if (first < 0 || static_cast<uint64_t>(first) > limit) return false;
  const walk_result walk = walk_valid_entries(stores, directory_ref, node, static_cast<size_t>(first), node_offset);
  if (!carve_slack || walk.stop < 1 || walk.stop >= limit) return true;
  carve_node_slack(stores, walk.directory_ref, node.from(walk.stop), node_offset + walk.stop);
  return true;
}
