// Choosing and checking the byte offset of the NTFS volume on a disk: accepts
// the requested offset when an NTFS partition starts there, otherwise lists
// the partitions and suggests an -offset value.
#pragma once

#include <cstdint>
#include <optional>

#include "disk/disk.h"

// Checks `requested` (0 when no -offset was given) against the partitions of
// `source`, printing every finding to standard error.  True with
// `offset_out` set when the volume can be used; on failure `offset_out` may
// hold a suggested offset, which the run never uses by itself.
// `found_ntfs` tells whether any NTFS partition was seen.
bool check_volume_offset(disk& source, std::optional<uint64_t> requested, bool ignore_image_size,
                         uint64_t& offset_out, bool& found_ntfs);
