// The multi-sector header that opens every NTFS metadata record written in
// several sectors: MFT file records ("FILE") and index records ("INDX").
//
// NTFS writes the update sequence number over the last word of every
// protected block, and keeps the displaced words in the update sequence array
// whose place and length the header gives.  A reader puts them back (the
// fixup) before it trusts any field: a block whose last word still differs
// from the sequence number was torn in a write.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace multi_sector_format {

// Offsets from the start of the record.
constexpr size_t signature = 0;  // 4 ASCII bytes
constexpr size_t usa_offset = 4;  // u16: update sequence array offset
constexpr size_t usa_count = 6;  // u16: words in the array, the first is the sequence number
constexpr size_t header_size = 8;

// Signatures, as little-endian u32 of their four ASCII bytes.
constexpr uint32_t signature_file = 0x454C4946;  // "FILE"
constexpr uint32_t signature_indx = 0x58444E49;  // "INDX"
constexpr uint32_t signature_baad = 0x44414142;  // "BAAD": a record chkdsk found torn

// Windows protects blocks of this size whatever the sector size.
constexpr size_t usa_block = 512;

// The fixup never reaches past 4096 bytes, the largest record any volume
// this tool reads uses.
constexpr size_t fixup_span = 4096;

}  // namespace multi_sector_format

// The record's signature; 0 when it is shorter than one.
uint32_t record_signature(std::span<const uint8_t> record);

// The update-sequence word count the header states.
uint16_t update_sequence_count(std::span<const uint8_t> record);

// The block size the record's update sequence protects.  Windows protects
// 512-byte blocks whatever the sector size (a 4096-byte record on a volume of
// 4096-byte sectors still carries nine words), so the sector size is the
// stride only when the record's word count says so.
size_t fixup_stride(size_t record_size, uint16_t usa_count, size_t sector_size);

// Puts the displaced words back, in place: array word i over the last two
// bytes of block i - 1 (blocks of `stride` bytes), for at most
// fixup_span / stride words, whatever count the header claims.  The
// displaced words are not compared with the sequence number first: a torn
// record is parsed as it stands.  Array words or targets outside the record
// are left alone.  Returns the number of words restored.
size_t apply_fixup(std::span<uint8_t> record, size_t stride);
