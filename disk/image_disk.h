// A disk object over a raw image file or a block device, opened read-only
// and read with pread at absolute offsets.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "disk/disk.h"
#include "support/file_util.h"

class image_disk : public disk {
 public:
  // Opens `path` read-only; is_open() tells whether it worked.  Only regular
  // files and block devices are accepted.
  explicit image_disk(const std::string& path);

  bool is_open() const override { return m_fd.valid(); }
  // Why the file did not open: the system's errno, or 0 when it opened but
  // is neither a regular file nor a block device.
  int open_error() const { return m_open_error; }
  uint64_t size() const override { return m_size; }
  size_t read(uint64_t offset, std::span<uint8_t> buffer) override;
  uint64_t next_data(uint64_t offset) const override;

 private:
  vk::unique_fd m_fd;
  uint64_t m_size = 0;
  int m_open_error = 0;
};

// The length of an open regular file or block device (whose st_size is 0:
// its end is found by seeking); false for anything else.
bool source_length(int fd, uint64_t& length);

// Reads up to buffer.size() bytes at `offset` of an open descriptor, going
// on after short reads; the count read (short at the end of the file or on
// an error).
size_t read_fd_at(int fd, uint64_t offset, std::span<uint8_t> buffer);
