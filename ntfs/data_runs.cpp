#include "ntfs/data_runs.h"

#include <algorithm>

#include "ntfs/mft_format.h"
#include "support/checked_math.h"
#include "support/le_reader.h"

namespace {

constexpr size_t max_field_width = 8;

// The delta of a pair: `width` bytes, two's complement, sign-extended to 64
// bits.  The LCN is kept in unsigned arithmetic so a hostile sum wraps
// instead of overflowing.
uint64_t read_delta(const vk::le_reader& pairs, size_t off, size_t width) {
  if (width == 0) return 0;
  const uint64_t raw = pairs.uint_n(off, width);
  const unsigned bits = static_cast<unsigned>(8 * width);
  const bool negative = ((raw >> (bits - 1)) & 1) != 0;
  return negative && bits < 64 ? raw | (~uint64_t{0} << bits) : raw;
}

}  // namespace

bool decode_mapping_pairs(std::span<const uint8_t> attribute, data_run_list& runs) {
  const vk::le_reader attr(attribute);
  if (attribute.empty()) return false;
  const size_t pairs_offset = attr.u16(mft_format::attr_mapping_pairs);
  uint64_t vcn = attr.u64(mft_format::attr_first_vcn);
  if (!attr.ok() || pairs_offset >= attribute.size()) return true;
  const vk::le_reader pairs = attr.from(pairs_offset);
  uint64_t lcn = 0;
  size_t pos = 0;
  while (pos < pairs.size()) {
    const uint8_t header = pairs.u8(pos);
    if (header == 0) break;
    const size_t count_width = header & 0x0F;
    const size_t offset_width = header >> 4;
    const size_t pair_size = 1 + count_width + offset_width;
    if (count_width > max_field_width || offset_width > max_field_width) break;
    if (pair_size > pairs.size() - pos) break;
    data_run run;
    run.cluster_count = pairs.uint_n(pos + 1, count_width);
    lcn += read_delta(pairs, pos + 1 + count_width, offset_width);
    run.lcn = static_cast<int64_t>(lcn);
    run.sparse = offset_width == 0;
    run.first_vcn = vcn;
    runs.append(run);
    vcn += run.cluster_count;
    pos += pair_size;
  }
  return true;
}

void data_run_list::append(data_run run) {
  run.counted_end = vk::saturating_add(m_runs.empty() ? 0 : m_runs.back().counted_end, run.cluster_count);
  m_runs.push_back(run);
}

const data_run* data_run_list::run_reaching(uint64_t vcn) const {
  const auto it = std::partition_point(m_runs.begin(), m_runs.end(),
                                       [vcn](const data_run& run) { return run.counted_end <= vcn; });
  return it == m_runs.end() ? nullptr : &*it;
}

uint64_t total_clusters(const data_run_list& runs) { return runs.empty() ? 0 : runs[runs.size() - 1].counted_end; }

std::optional<vcn_location> locate_vcn(const data_run_list& runs, uint64_t vcn, uint64_t cluster_size) {
  const data_run* found = runs.run_reaching(vcn);
  if (found == nullptr) return std::nullopt;
  const data_run& run = *found;
  // A hostile list whose stored VCNs disagree with the counts maps nothing.
  if (vcn < run.first_vcn || vcn - run.first_vcn >= run.cluster_count) return std::nullopt;
  vcn_location where;
  where.clusters_left = run.cluster_count - (vcn - run.first_vcn);
  if (run.sparse) {
    where.sparse = true;
    return where;
  }
  const uint64_t cluster = static_cast<uint64_t>(run.lcn) + (vcn - run.first_vcn);
  if (run.lcn < 0 || cluster < static_cast<uint64_t>(run.lcn)) return std::nullopt;
  if (cluster_size != 0 && cluster > UINT64_MAX / cluster_size) return std::nullopt;
  where.position = cluster * cluster_size;
  return where;
}
