#include "disk/qcow_check.h"

#include <unordered_set>
#include <vector>

#include "support/checked_math.h"

namespace qf = qcow_format;

namespace {

uint64_t big_endian(std::span<const uint8_t> bytes, size_t offset, size_t width) {
  uint64_t value = 0;
  for (size_t i = 0; i < width && offset + i < bytes.size(); ++i) value = (value << 8) | bytes[offset + i];
  return value;
}

struct qcow_layout {
  uint64_t file_size = 0;
  uint64_t cluster_size = 0;
  uint32_t cluster_bits = 0;
  uint32_t version = 0;
};

bool within_file(const qcow_layout& layout, uint64_t offset, uint64_t length) {
  return offset <= layout.file_size && length <= layout.file_size - offset;
}

// A standard entry names a whole host cluster; a compressed one a run of
// sectors from a byte offset.  Reserved bits must be clear.
std::string l2_entry_problem(const qcow_layout& layout, uint64_t entry) {
  if (entry & qf::compressed_flag) {
    const unsigned offset_bits = 62 - (layout.cluster_bits - 8);
    const uint64_t offset = entry & ((uint64_t{1} << offset_bits) - 1);
    // The run's sector count is an upper bound: the last run of the file
    // may end in a sector the file does not hold.
    if (offset >= layout.file_size) return "has a compressed cluster past the end of the file";
    return "";
  }
  const uint64_t reserved = entry & ~(qf::offset_mask | qf::copied_flag | (layout.version >= 3 ? qf::zero_flag : 0));
  const uint64_t offset = entry & qf::offset_mask;
  if (reserved != 0 || offset % layout.cluster_size != 0) return "has a cluster table entry no writer makes";
  if (offset != 0 && !within_file(layout, offset, layout.cluster_size)) return "has a cluster past the end of the file";
  return "";
}

std::string l2_table_problem(disk& file, const qcow_layout& layout, uint64_t l2_offset, std::vector<uint8_t>& l2) {
  if (!file.read_exact(l2_offset, l2)) return "has a cluster table past the end of the file";
  for (uint64_t j = 0; j < layout.cluster_size / 8; ++j) {
    const std::string problem = l2_entry_problem(layout, big_endian(l2, j * 8, 8));
    if (!problem.empty()) return problem;
  }
  return "";
}

// Many L1 entries may name one L2 table (a hostile image can point all of
// them at the same cluster): each table is read and checked once, so the
// work is bounded by the file's size, not by the number of L1 entries.
std::string tables_problem(disk& file, const qcow_layout& layout, uint64_t l1_offset, uint64_t l1_entries) {
  std::vector<uint8_t> l1(l1_entries * 8), l2(layout.cluster_size);
  if (!file.read_exact(l1_offset, l1)) return "has its cluster table past the end of the file";
  std::unordered_set<uint64_t> checked;
  for (uint64_t i = 0; i < l1_entries; ++i) {
    const uint64_t entry = big_endian(l1, i * 8, 8);
    const uint64_t l2_offset = entry & qf::offset_mask;
    if ((entry & ~(qf::offset_mask | qf::copied_flag)) != 0 || l2_offset % layout.cluster_size != 0)
      return "has a cluster table entry no writer makes";
    if (l2_offset == 0 || !checked.insert(l2_offset).second) continue;
    const std::string problem = l2_table_problem(file, layout, l2_offset, l2);
    if (!problem.empty()) return problem;
  }
  return "";
}

}  // namespace

std::string qcow_layout_problem(disk& file) {
  std::vector<uint8_t> header(qf::v3_header_size);
  const size_t got = file.read(0, header);
  qcow_layout layout{file.size(), 0, static_cast<uint32_t>(big_endian(header, qf::cluster_bits, 4)),
                     static_cast<uint32_t>(big_endian(header, qf::version, 4))};
  // Version 1 images use another layout; the library checks those itself.
  if (layout.version == 1) return "";
  if ((layout.version != 2 && layout.version != 3) || got < (layout.version == 2 ? qf::v2_header_size : qf::v3_header_size))
    return "has a header of no known version";
  if (layout.cluster_bits < qf::min_cluster_bits || layout.cluster_bits > qf::max_cluster_bits)
    return "has clusters of 2^" + std::to_string(layout.cluster_bits) + " bytes";
  layout.cluster_size = uint64_t{1} << layout.cluster_bits;
  if (big_endian(header, qf::crypt_method, 4) != 0) return "is encrypted";
  if (layout.version == 3 && (big_endian(header, qf::incompatible_features, 8) & ~qf::readable_incompatible) != 0)
    return "uses features slix does not read (an external data file, zstd compression or extended entries)";
  const uint64_t l1_entries = big_endian(header, qf::l1_size, 4);
  if (l1_entries > layout.file_size / 8) return "has a cluster table larger than the file";
  return tables_problem(file, layout, big_endian(header, qf::l1_table_offset, 8), l1_entries);
}
