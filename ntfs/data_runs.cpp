#include "ntfs/data_runs.h"

#include <algorithm>

#include "ntfs/mft_format.h"
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
    runs.push_back(run);
    vcn += run.cluster_count;
    pos += pair_size;
  }
  return true;
}

uint64_t total_clusters(const data_run_list& runs) {
  uint64_t total = 0;
  for (const data_run& run : runs) {
    total = run.cluster_count > UINT64_MAX - total ? UINT64_MAX : total + run.cluster_count;
  }
  return total;
}

std::optional<vcn_location> locate_vcn(const data_run_list& runs, uint64_t vcn, uint64_t cluster_size) {
  // The running end (last VCN + 1) avoids the -1 start of an unsigned count.
  uint64_t run_end = 0;
  for (const data_run& run : runs) {
    run_end = run.cluster_count > UINT64_MAX - run_end ? UINT64_MAX : run_end + run.cluster_count;
    if (run_end <= vcn) continue;
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
  return std::nullopt;
}
