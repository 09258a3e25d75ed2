#include "disk/vmdk_format.h"


#include "disk/disk.h"
#include "support/checked_math.h"
#include "support/le_reader.h"

namespace vmdk_format {
namespace {

// Bounds that keep every product of header fields far from 64-bit overflow.
// Real extents use 128-sector grains, 512 entries per table and at most a
// few TiB; these limits are generous and exist only to refuse nonsense.
constexpr uint64_t max_grain_sectors = 1u << 16;  // 32 MiB grains
constexpr uint32_t max_gtes_per_gt = 1u << 20;  // 4 MiB grain tables
constexpr uint64_t max_descriptor_sectors = 2048;  // 1 MiB of descriptor text

constexpr uint8_t expected_line_ends[4] = {'\n', ' ', '\r', '\n'};

// True when [sector, sector + bytes) lies inside a file of file_size bytes.
bool fits_in_file(uint64_t sector, uint64_t bytes, uint64_t file_size) {
  if (sector > file_size / sector_size) return false;
  return bytes <= file_size - sector * sector_size;
}

std::string grain_problem(const VMDK_SPARSE_HEADER& h) {
  if (h.grain_size == 0 || h.grain_size > max_grain_sectors || !vk::is_power_of_two(h.grain_size))
    return "has a grain size of " + std::to_string(h.grain_size) + " sectors (a power of two up to " +
           std::to_string(max_grain_sectors) + " is expected)";
  if (h.gtes_per_gt == 0 || h.gtes_per_gt > max_gtes_per_gt)
    return "has " + std::to_string(h.gtes_per_gt) + " grain entries per table (1 to " +
           std::to_string(max_gtes_per_gt) + " are expected)";
  if (h.capacity > max_disk_sectors)
    return "has a capacity of " + std::to_string(h.capacity) + " sectors, which no real disk has";
  return "";
}

std::string placement_problem(const VMDK_SPARSE_HEADER& h, uint64_t file_size) {
  if (h.descriptor_offset != 0 &&
      (h.descriptor_size > max_descriptor_sectors ||
       !fits_in_file(h.descriptor_offset, h.descriptor_size * sector_size, file_size)))
    return "has its embedded descriptor past the end of the file";
  const uint64_t entries = grain_directory_entries(h);
  if (entries == 0) return "";
  const uint64_t gd_sector = grain_directory_sector(h);
  if (gd_sector == 0) return "has no grain directory";
  if (entries > file_size / table_entry_size || !fits_in_file(gd_sector, entries * table_entry_size, file_size))
    return "has its grain directory past the end of the file";
  return "";
}

}  // namespace

bool decode_sparse_header(std::span<const uint8_t> bytes, VMDK_SPARSE_HEADER& h) {
  const vk::le_reader r(bytes);
  h = VMDK_SPARSE_HEADER{.magic = r.u32(hdr_magic), .version = r.u32(hdr_version), .flags = r.u32(hdr_flags),
                         .capacity = r.u64(hdr_capacity), .grain_size = r.u64(hdr_grain_size),
                         .descriptor_offset = r.u64(hdr_descriptor_offset),
                         .descriptor_size = r.u64(hdr_descriptor_size), .gtes_per_gt = r.u32(hdr_gtes_per_gt),
                         .rgd_offset = r.u64(hdr_rgd_offset), .gd_offset = r.u64(hdr_gd_offset),
                         .overhead = r.u64(hdr_overhead), .unclean_shutdown = r.u8(hdr_unclean_shutdown)};
  h.line_end_chars[0] = r.u8(hdr_single_end_line);
  h.line_end_chars[1] = r.u8(hdr_non_end_line);
  h.line_end_chars[2] = r.u8(hdr_double_end_line1);
  h.line_end_chars[3] = r.u8(hdr_double_end_line2);
  h.compress_algorithm = r.u16(hdr_compress_algorithm);
  return r.ok() && r.has(0, header_size);
}

bool has_compressed_grains(const VMDK_SPARSE_HEADER& h) {
  return (h.flags & flag_compressed) != 0 || h.compress_algorithm != 0;
}

std::string sparse_header_problem(const VMDK_SPARSE_HEADER& h, uint64_t file_size) {
  if (h.version < 1 || h.version > 3)
    return "has sparse extent version " + std::to_string(h.version) + " (1 to 3 are known)";
  // A text-mode file transfer rewrites line ends, and with them every grain;
  // the writer stores these four characters so that such damage shows.
  if ((h.flags & flag_valid_newline_test) != 0) {
    for (size_t i = 0; i < 4; ++i)
      if (h.line_end_chars[i] != expected_line_ends[i])
        return "has altered line-end check characters (was it copied in text mode?)";
  }
  std::string problem = grain_problem(h);
  if (problem.empty()) problem = placement_problem(h, file_size);
  return problem;
}

uint64_t grain_directory_sector(const VMDK_SPARSE_HEADER& h) {
  if (h.gd_offset == 0 && (h.flags & flag_redundant_gt) != 0) return h.rgd_offset;
  return h.gd_offset;
}

uint64_t grain_directory_entries(const VMDK_SPARSE_HEADER& h) {
  const uint64_t coverage = h.grain_size * h.gtes_per_gt;
  if (coverage == 0) return 0;
  return h.capacity / coverage + (h.capacity % coverage != 0 ? 1 : 0);
}

}  // namespace vmdk_format
