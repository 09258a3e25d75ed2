#include "ntfs/data_runs.h"

#include <algorithm>

#include "ntfs/mft_format.h"
#include "support/le_reader.h"

namespace {

constexpr size_t max_field_width = 8;

// The delta of a pair: `width` bytes, two's complement.  The LCN is kept in
// unsigned arithmetic so a hostile sum wraps instead of overflowing.
struct lcn_delta {
  uint64_t value = 0;  // sign-extended to 64 bits
  uint64_t magnitude = 0;
  bool negative = false;
};

lcn_delta read_delta(const vk::le_reader& pairs, size_t off, size_t width) {
  lcn_delta delta;
  if (width == 0) return delta;
  const uint64_t raw = pairs.uint_n(off, width);
  const unsigned bits = static_cast<unsigned>(8 * width);
  delta.negative = ((raw >> (bits - 1)) & 1) != 0;
  const uint64_t extension = (delta.negative && bits < 64) ? ~uint64_t{0} << bits : 0;
  delta.value = raw | extension;
  delta.magnitude = delta.negative ? ~delta.value + 1 : raw;
  return delta;
}

}  // namespace

bool decode_mapping_pairs(std::span<const uint8_t> attribute, uint32_t attr_type, data_run_list& runs) {
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
    const lcn_delta delta = read_delta(pairs, pos + 1 + count_width, offset_width);
    lcn += delta.value;
    run.lcn = static_cast<int64_t>(lcn);
    run.offset_magnitude = delta.magnitude;
    run.negative_delta = delta.negative;
    run.sparse = offset_width == 0;
    run.first_vcn = vcn;
    run.attr_type = attr_type;
    const auto stored = pairs.bytes().subspan(pos, pair_size);
    run.header_byte_count = static_cast<uint8_t>(1 + count_width);
    std::copy_n(stored.begin(), run.header_byte_count, run.header_bytes.begin());
    run.offset_byte_count = static_cast<uint8_t>(offset_width);
    std::copy_n(stored.begin() + run.header_byte_count, offset_width, run.offset_bytes.begin());
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
