// One decoded (valid) or carved (slack) index entry: a plain value copied
// into the entry stores and handed to the writers.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "indx/indx_format.h"
#include "ntfs/file_name.h"
#include "ntfs/mft_format.h"
#include "support/le_reader.h"
#include "support/types.h"

namespace fnf = file_name_format;

// What an entry's offset counts from.  Each frame is also the buffer the
// offset indexes (for -hexdump): a file of INDX records read whole, from its
// first byte; the index root's node, from its node header; a directory's
// $INDEX_ALLOCATION stream as read, from its first byte.
// Entries carved from a volume's free clusters or from the slack of an MFT
// record count from the volume's first byte; their bytes are kept with the
// records they were carved from.
enum class offset_frame : uint8_t { indx_file, index_root_node, allocation_stream, volume };

// Where an entry was found: the index root in the directory's MFT record, an
// INDX record of its allocation (or of an INDX file), an INDX record lying in
// the volume's free clusters, or the slack of an MFT record past its used
// size.
enum class entry_source : uint8_t { index_root, index_allocation, unallocated, mft_slack };

struct source_offset {
  offset_frame frame = offset_frame::indx_file;
  uint64_t bytes = 0;
};

constexpr source_offset operator+(source_offset base, uint64_t more) { return {base.frame, base.bytes + more}; }

struct indx_entry {
  mft_ref file_ref = 0;
  // The first 68 bytes of the $FILE_NAME key as stored.
  std::array<uint8_t, indx_format::key_stored_size> key{};
  std::string name;
  bool is_valid = false;
  // Where the entry starts in the source it was parsed from.
  source_offset offset;
  // 82 + 2 x name length: the span reported and used for overlap tests.
  uint32_t size = 0;
  entry_source source = entry_source::index_allocation;
  bool is_dir = false;
  bool mtime_unconvertible = false;
  std::string annotation;

  mft_ref parent_ref() const { return key_field().u64(fnf::parent_ref); }
  uint64_t created() const { return key_field().u64(fnf::created); }
  uint64_t modified() const { return key_field().u64(fnf::modified); }
  uint64_t mft_changed() const { return key_field().u64(fnf::mft_changed); }
  uint64_t accessed() const { return key_field().u64(fnf::accessed); }
  // Modified, accessed, MFT changed and created: the order of every layout.
  std::array<uint64_t, 4> times() const { return {modified(), accessed(), mft_changed(), created()}; }
  uint64_t alloc_size() const { return key_field().u64(fnf::alloc_size); }
  uint64_t real_size() const { return key_field().u64(fnf::real_size); }
  uint32_t attr_flags() const { return key_field().u32(fnf::attr_flags); }
  uint8_t name_length() const { return key_field().u8(fnf::name_length); }
  uint8_t name_space() const { return key_field().u8(fnf::name_space); }

 private:
  vk::le_reader key_field() const { return vk::le_reader(key); }
};
