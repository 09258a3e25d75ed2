// The on-disk layout of an EWF-E01 segment file (EnCase 2 to 7, FTK Imager,
// ewfacquire), as slix reads it: offsets of every field it uses.
//
// A segment file opens with a 13-byte header (the signature, then a segment
// number), followed by sections, each behind a 76-byte descriptor naming its
// type and the file offset of the next descriptor.  The first segment holds a
// "volume" (or "disk") section giving the media's geometry; every segment
// holds "sectors" sections of chunk data, each followed by a "table" listing
// where its chunks start and a "table2" repeating it.  The last section of a
// segment is "next" (another segment follows) or "done" (the set ends); both
// name themselves as next.  Every checksum is an Adler-32.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ewf_format {

constexpr size_t signature_size = 8;
constexpr size_t fields_start = 8;    // u8, 1
constexpr size_t segment_number = 9;  // u16, from 1
constexpr size_t fields_end = 11;     // u16, 0
constexpr size_t file_header_size = 13;

// Section descriptor, offsets from its start.
constexpr size_t section_type = 0;  // 16 ASCII bytes, NUL-padded
constexpr size_t section_type_size = 16;
constexpr size_t section_next = 16;  // u64: file offset of the next descriptor
constexpr size_t section_size = 24;  // u64, the descriptor included
constexpr size_t section_checksum = 72;  // u32, of the 72 bytes before it
constexpr size_t descriptor_size = 76;

// The "volume" (or "disk") section's data, after its descriptor: the
// geometry of the whole media, the last 4 bytes a checksum of the rest.
constexpr size_t volume_chunk_count = 4;         // u32
constexpr size_t volume_sectors_per_chunk = 8;   // u32
constexpr size_t volume_bytes_per_sector = 12;  // u32
constexpr size_t volume_sector_count = 16;       // u64
constexpr size_t volume_checksum = 1048;         // u32
constexpr size_t volume_data_size = 1052;

// A "table" section lists the file offsets of the chunks stored in the
// "sectors" section before it: a header, then one u32 a chunk whose low 31
// bits are the offset from the header's base and whose top bit marks a
// compressed chunk, then a checksum of the entries.  A chunk ends where the
// next begins; the table's last chunk ends with its sectors section.
constexpr size_t table_entry_count = 0;  // u32, after the descriptor
constexpr size_t table_base_offset = 8;  // u64
constexpr size_t table_header_checksum = 20;  // u32, of the 20 bytes before it
constexpr size_t table_header_size = 24;
constexpr size_t table_entry_size = 4;
constexpr size_t table_footer_size = 4;  // u32, checksum of the entries
constexpr uint32_t table_offset_mask = 0x7FFFFFFF;
constexpr uint32_t table_compressed_flag = 0x80000000;

// A chunk is stored compressed (a zlib stream, its Adler-32 inside) or as
// it is, followed by the Adler-32 of its bytes.
constexpr size_t stored_chunk_checksum_size = 4;

// The largest chunk accepted, stored: libewf allocates one buffer of a
// chunk's stored size for each chunk it reads, so a hostile table must not
// set it.  Real images use chunks of 32 KiB, a few MiB at most.
constexpr uint64_t max_chunk_bytes = 64u << 20;

}  // namespace ewf_format
