// A hosted sparse extent opened for reading.  Its grain directory and grain
// tables are loaded once, so that a lookup is two vector indexings.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "disk/vmdk_file.h"
#include "disk/vmdk_format.h"

// Where the bytes at one virtual offset come from, and how many bytes on
// from there come from the same place (to the end of the grain or extent).
struct vmdk_piece {
  // absent: this disk does not hold the bytes, its parent may.  zeros: this
  // disk holds zeros there (a ZERO extent, or a grain table entry marking a
  // grain of zeros), which hide whatever a parent holds.
  // compressed: the grain is stored deflated behind the marker at
  // `file_pos`, and the bytes start `in_grain` into the inflated grain.
  enum class source { absent, zeros, file, compressed };
  source from = source::absent;
  const vmdk_file* file = nullptr;
  const class vmdk_sparse_extent* extent = nullptr;
  uint64_t file_pos = 0;
  uint64_t in_grain = 0;
  uint64_t length = 0;
};

class vmdk_sparse_extent {
 public:
  // Reads the header and the grain tables of `file`.  On failure returns
  // nullptr with `why` set to the reason, worded to follow the file's name.
  static std::unique_ptr<vmdk_sparse_extent> open(std::shared_ptr<const vmdk_file> file, std::string& why);

  const vmdk_format::VMDK_SPARSE_HEADER& header() const { return m_header; }
  const vmdk_file& file() const { return *m_file; }
  uint64_t capacity_bytes() const { return m_header.capacity * vmdk_format::sector_size; }

  // The embedded descriptor text; "" when the extent has none.
  std::string embedded_descriptor() const;

  // `offset` counts bytes from the start of this extent.
  vmdk_piece locate(uint64_t offset) const;

  // Bytes of grains that the tables place past the end of the file (a
  // truncated copy); they read as zeros.
  uint64_t missing_bytes() const { return m_missing_bytes; }

  // Fills `out` from a deflated grain (a piece of source::compressed);
  // false when the grain cannot be inflated.
  bool read_compressed(uint64_t marker_pos, uint64_t in_grain, std::span<uint8_t> out) const;

 private:
  explicit vmdk_sparse_extent(std::shared_ptr<const vmdk_file> file) : m_file(std::move(file)) {}
  std::string load_grain_tables();
  bool read_table_run(size_t first_table, uint64_t file_pos, size_t tables);
  uint64_t bytes_past_end() const;
  std::string take_stream_optimized_layout();
  bool inflate_grain(uint64_t marker_pos) const;

  static constexpr uint32_t no_table = UINT32_MAX;

  std::shared_ptr<const vmdk_file> m_file;
  vmdk_format::VMDK_SPARSE_HEADER m_header;
  uint64_t m_grain_bytes = 0;
  uint64_t m_table_coverage = 0;  // bytes of the extent one grain table maps
  std::vector<uint32_t> m_table_of_entry;  // per grain directory entry: its table's index, or no_table
  std::vector<uint32_t> m_grain_entries;  // every loaded table, one after another
  uint64_t m_missing_bytes = 0;
  bool m_compressed = false;
  static constexpr uint64_t no_grain = UINT64_MAX;
  mutable uint64_t m_cached_marker = no_grain;
  mutable std::vector<uint8_t> m_cached_grain;
};
