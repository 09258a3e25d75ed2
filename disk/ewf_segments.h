// The section chain of an EWF (E01) segment file, walked to check a segment
// set before it is read: libewf serves the chunks of a missing or cut-short
// segment as zeros, so a set with a hole must be caught here.
//
// The layout is in ewf_format.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "disk/ewf_format.h"

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
