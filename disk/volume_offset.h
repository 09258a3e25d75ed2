// Choosing and checking the byte offset of the NTFS volume on a disk: accepts
// the requested offset when an NTFS partition starts there, otherwise lists
// the partitions and suggests an -offset value.  Nothing is printed here:
// the check returns what it found, in order, for the caller to report.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "disk/disk.h"

enum class offset_finding_kind {
  requested_outside_image,   // the requested offset lies past the disk's end
  no_partitions,             // no table, no volume, not even a displaced MBR
  table_questionable,        // only the searching scan found a table
  suggestion_outside_image,  // an NTFS row starts past the disk's end
  selected_not_ntfs,         // the requested offset starts a row of another kind
  volume_larger_than_image,  // the NTFS row runs past the end of the image
  bitlocker_volume,          // the row starting at `offset` holds a BitLocker-encrypted volume
};

struct offset_finding {
  offset_finding_kind kind;
  uint64_t offset = 0;  // the byte offset the finding is about
  std::string type_name;  // selected_not_ntfs: the row's type name
};

// One row of the disk's layout: its byte offset and type name ("unalloc"
// for a gap).
struct layout_row {
  uint64_t offset = 0;
  std::string name;
};

struct volume_offset_check {
  bool usable = false;
  uint64_t offset = 0;  // the volume's byte offset, when usable
  std::vector<offset_finding> findings;  // in the order they arose
  // When the request selected no NTFS volume: the whole layout in disk
  // order, and the offset of the last NTFS row, which the run never uses by
  // itself.
  std::vector<layout_row> layout;
  std::optional<uint64_t> suggestion;
};

// Checks `requested` (nothing when no -offset was given) against the
// partitions of `source`.
volume_offset_check check_volume_offset(disk& source, std::optional<uint64_t> requested, bool ignore_image_size);
