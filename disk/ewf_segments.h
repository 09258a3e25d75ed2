// The section chain of an EWF (E01) segment file, walked to check a segment
// set before it is read: libewf serves the chunks of a missing or cut-short
// segment as zeros, so a set with a hole must be caught here.
//
// A segment file opens with a 13-byte header (the signature, then a segment
// number), followed by sections, each behind a 76-byte descriptor naming its
// type and the file offset of the next descriptor.  The last section of a
// segment is "next" (another segment follows) or "done" (the set ends); both
// name themselves as next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace ewf_format {

constexpr size_t signature_size = 8;
constexpr size_t segment_number = 9;  // u16, from 1
constexpr size_t file_header_size = 13;

// Section descriptor, offsets from its start.
constexpr size_t section_type = 0;  // 16 ASCII bytes, NUL-padded
constexpr size_t section_type_size = 16;
constexpr size_t section_next = 16;  // u64: file offset of the next descriptor
constexpr size_t section_size = 24;  // u64
constexpr size_t descriptor_size = 76;

// A "table" section lists the file offsets of the chunks stored in the
// "sectors" section before it: a header, then one u32 a chunk whose low 31
// bits are the offset from the header's base and whose top bit marks a
// compressed chunk.  A chunk ends where the next begins.
constexpr size_t table_entry_count = 0;  // u32, after the descriptor
constexpr size_t table_base_offset = 8;  // u64
constexpr size_t table_header_size = 24;
constexpr size_t table_entry_size = 4;
constexpr uint32_t table_offset_mask = 0x7FFFFFFF;

// The largest chunk accepted, stored: libewf allocates one buffer of a
// chunk's stored size for each chunk it reads, so a hostile table must not
// set it.  Real images use chunks of 32 KiB, a few MiB at most.
constexpr uint64_t max_chunk_bytes = 64u << 20;

}  // namespace ewf_format

enum class segment_end {
  next,       // another segment follows
  done,       // the last segment of the set
  truncated,  // the chain runs past the end of the file or breaks off
  damaged,    // a chunk table places chunks outside the file or makes them larger than any chunk
};

struct segment_check {
  uint16_t number = 0;  // as the segment's own header gives it
  segment_end end = segment_end::truncated;
};

// Walks one segment file's sections.  `read_at` fills a buffer from a file
// offset and returns the bytes read.
using segment_reader = size_t (*)(void* context, uint64_t offset, std::span<uint8_t> buffer);
segment_check check_ewf_segment(uint64_t file_size, segment_reader read_at, void* context);

// The name the segment after `name` has: "x.E01" -> "x.E02", up to ".E99"
// ("" past it: the lettered names that follow are not worked out).
std::string next_segment_name(const std::string& name);
