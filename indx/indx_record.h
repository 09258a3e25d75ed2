// One INDX record as read from an INDX file or from a directory's
// $INDEX_ALLOCATION stream: its signature and its update-sequence fixup.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// True when the record begins with the ASCII signature "INDX".
bool has_indx_magic(std::span<const uint8_t> record);

// Applies the record's update sequence array in place.  NTFS writes the
// update sequence number over the last word of every sector and keeps the
// displaced words in the array; word i of the array goes back over the last
// two bytes of sector i - 1 (sectors of `stride` bytes).  At most
// 4096 / stride words are restored, whatever count the header claims, and the
// displaced words are not compared with the sequence number first: a torn
// record is parsed as it stands.  Array words or targets outside the record
// are left alone.  Returns the number of words restored.
size_t apply_fixup(std::span<uint8_t> record, size_t stride);
