// A disk object: an opened source (image file, VMDK chain, block device) that
// knows its size and reads bytes at absolute offsets.  Every source is opened
// read-only.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// The largest disk any source may claim, in 512-byte sectors (32 PiB).  A
// larger claim comes from damage or a hostile header, and refusing it keeps
// every byte size far from 64-bit overflow.
constexpr uint64_t max_disk_sectors = uint64_t{1} << 46;

// Damage in the files of a source that does not stop the reading: what the
// file lacks reads as zeros, and the examiner is told, once.
enum class source_warning_kind {
  shorter_than_metadata,  // `amount` bytes are missing from the end of `file`
  truncated_segment,      // `file`, a segment of a set, ends before its last section
  segment_out_of_order,   // `file` holds segment number `amount` of its set
};

struct source_warning {
  source_warning_kind kind = source_warning_kind::shorter_than_metadata;
  std::string file;
  uint64_t amount = 0;
};

class disk {
 public:
  virtual ~disk() = default;
  virtual bool is_open() const = 0;
  virtual uint64_t size() const = 0;
  // Reads up to buffer.size() bytes at `offset`; returns the count read
  // (short at the end of the disk, 0 on failure or when closed).
  virtual size_t read(uint64_t offset, std::span<uint8_t> buffer) = 0;

  // Damage found in the source's files when it was opened.
  virtual std::vector<source_warning> warnings() const { return {}; }
  // Reads that failed so far, where the container could not serve bytes it
  // claims to hold (a block past the end of the file, a damaged chunk).
  virtual uint64_t failed_reads() const { return 0; }

  // The first offset at or after `offset` that may hold anything but zeros:
  // a hole of a sparse image reads as zeros, so a search may pass it over.
  // `offset` itself when the source cannot tell; size() when nothing follows.
  virtual uint64_t next_data(uint64_t offset) const { return offset; }

  // True when the whole buffer was read.
  bool read_exact(uint64_t offset, std::span<uint8_t> buffer) {
    return !buffer.empty() && read(offset, buffer) == buffer.size();
  }
};
