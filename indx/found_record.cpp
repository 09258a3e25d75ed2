#include "indx/found_record.h"

#include <algorithm>
#include <map>

#include "indx/indx_format.h"
#include "indx/node_parser.h"
#include "ntfs/multi_sector.h"
#include "support/le_reader.h"

namespace msf = multi_sector_format;

namespace {

// The update sequence array stands between the record header and the node
// header, and holds one word per protected block plus the sequence number.
bool plausible_update_sequence(const vk::le_reader& header, size_t record_size, size_t stride) {
  const size_t array_offset = header.u16(msf::usa_offset);
  const size_t count = header.u16(msf::usa_count);
  return header.ok() && array_offset % 2 == 0 && array_offset >= msf::header_size &&
         count == record_size / stride + 1 && array_offset + 2 * count <= indx_format::rec_node_header + 64;
}

// A node header that describes entries inside the record.
bool plausible_node_header(const vk::le_reader& record) {
  const vk::le_reader node = record.from(indx_format::rec_node_header);
  const uint64_t first = node.u32(indx_format::node_entries_offset);
  const uint64_t used = node.u32(indx_format::node_used_size);
  const uint64_t allocated = node.u32(indx_format::node_allocated_size);
  const uint64_t limit = record.size() - indx_format::rec_node_header;
  return node.ok() && first >= indx_format::node_header_size && first % 8 == 0 && first <= used &&
         used <= allocated && allocated <= limit;
}

bool covers_damage(const indx_entry& entry, uint64_t record_start, const std::vector<uint32_t>& damaged) {
  const uint64_t start = entry.offset.bytes - record_start;
  const uint64_t end = start + std::max<uint64_t>(entry.size, indx_format::entry_min_size);
  return std::any_of(damaged.begin(), damaged.end(),
                     [&](uint32_t word) { return word + 2 > start && word < end; });
}

}  // namespace

bool take_in_found_record(std::span<uint8_t> record, uint32_t sector_size, std::vector<uint32_t>& damaged_words) {
  damaged_words.clear();
  const vk::le_reader reader(record);
  if (record_signature(record) != msf::signature_indx || record.size() > msf::fixup_span) return false;
  const size_t stride = fixup_stride(record.size(), update_sequence_count(record), sector_size);
  if (!plausible_update_sequence(reader, record.size(), stride) || !plausible_node_header(reader)) return false;
  const size_t array_offset = reader.u16(msf::usa_offset);
  const uint16_t sequence = reader.u16(array_offset);
  for (size_t block = 1; block * stride <= record.size(); ++block) {
    const size_t end = block * stride - 2;
    if (reader.u16(end) != sequence) {
      damaged_words.push_back(static_cast<uint32_t>(end));
      continue;
    }
    vk::put_u16(record, end, reader.u16(array_offset + 2 * block));
  }
  return true;
}

void parse_found_record(const found_index_record& record, entry_stores& stores) {
  entry_stores found;
  const vk::le_reader bytes(record.bytes);
  const source_offset node_offset{offset_frame::volume, record.volume_offset + indx_format::rec_node_header};
  parse_index_node(found, 0, bytes.from(indx_format::rec_node_header), node_offset, true);
  found.demote_valid_entries();
  entry_stores kept;
  for (const uint32_t number : found.slack) {
    indx_entry& entry = found.entries[number];
    if (!covers_damage(entry, record.volume_offset, record.damaged_words)) kept.add_slack(std::move(entry));
  }
  stores.take_as_slack(kept);
}

void kept_records::keep(uint64_t volume_offset, std::span<const uint8_t> bytes) {
  if (!m_records.emplace(volume_offset, std::make_pair(m_bytes.size(), bytes.size())).second) return;
  m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
}

std::span<const uint8_t> kept_records::from(uint64_t volume_offset) const {
  auto it = m_records.upper_bound(volume_offset);
  if (it == m_records.begin()) return {};
  --it;
  const auto [position, length] = it->second;
  const uint64_t inside = volume_offset - it->first;
  if (inside >= length) return {};
  return std::span<const uint8_t>(m_bytes).subspan(position + inside, length - inside);
}

mft_ref majority_parent(const entry_stores& stores) {
  std::map<mft_ref, size_t> counts;
  mft_ref best = 0;
  size_t best_count = 0;
  // No directory has sequence number 0: such a parent field is the
  // sub-node VCN of a terminating entry written over an older entry's key.
  const bool any_sequence = std::any_of(stores.slack.begin(), stores.slack.end(), [&](uint32_t number) {
    return mft_sequence_of(stores.entries[number].parent_ref()) != 0;
  });
  for (const uint32_t number : stores.slack) {
    const mft_ref parent = stores.entries[number].parent_ref();
    if (any_sequence && mft_sequence_of(parent) == 0) continue;
    const size_t count = ++counts[parent];
    if (count > best_count) {
      best = parent;
      best_count = count;
    }
  }
  return best;
}
