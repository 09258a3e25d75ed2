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

// A file of the source that is shorter than the source's own metadata says
// (a truncated copy).  What it lacks reads as zeros; the examiner is told.
struct source_shortfall {
  std::string file;
  uint64_t missing_bytes = 0;
};

class disk {
 public:
  virtual ~disk() = default;
  virtual bool is_open() const = 0;
  virtual uint64_t size() const = 0;
  // Reads up to buffer.size() bytes at `offset`; returns the count read
  // (short at the end of the disk, 0 on failure or when closed).
  virtual size_t read(uint64_t offset, std::span<uint8_t> buffer) = 0;

  // The source's files that are shorter than their metadata says.
  virtual std::vector<source_shortfall> shortfalls() const { return {}; }

  // True when the whole buffer was read.
  bool read_exact(uint64_t offset, std::span<uint8_t> buffer) {
    return !buffer.empty() && read(offset, buffer) == buffer.size();
  }
};
