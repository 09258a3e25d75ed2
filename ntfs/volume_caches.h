// What the volume layer remembers between lookups, so that building paths
// and resolving them reads each record and each directory index once.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "ntfs/mft_format.h"
#include "ntfs/name_folding.h"
#include "support/types.h"

// The few fields of an MFT record that path building needs.
struct record_summary {
  bool readable = false;  // fetched and well-formed
  uint16_t sequence = 0;
  uint16_t flags = 0;
  bool has_name = false;
  mft_ref parent_ref = 0;  // of the preferred $FILE_NAME
  uint8_t name_space = 0;
  std::string name;  // the preferred $FILE_NAME, long names before DOS names
  bool is_directory() const { return (flags & mft_format::rec_flag_directory) != 0; }
};

// One live entry of a directory's $I30 index.
struct directory_child {
  uint64_t entry = 0;
  uint16_t sequence = 0;
  std::string name;
  bool is_directory = false;
  std::u16string folded_name;  // filled by path lookup when it caches the directory
};

// The bytes of directory records the whole-volume scan keeps for the
// analysis, which fetches each directory's record again: enough for a few
// thousand directories, and no more on a volume of any size.
constexpr size_t directory_record_budget = size_t{4} << 20;

struct volume_caches {
  std::unordered_map<uint64_t, record_summary> records;
  // The whole-volume scan filled `records` for every directory.
  bool scanned = false;
  // Directory records as the scan read and fixed them up, by entry, up to
  // directory_record_budget bytes: fetching them again costs no read (and,
  // from an E01, no chunk inflated again).
  std::unordered_map<uint64_t, byte_array> directory_records;
  size_t directory_record_bytes = 0;
  std::map<uint64_t, std::vector<directory_child>> children;
  // The volume's case folding, read on the first lookup.
  std::optional<name_folding> folding;
};
