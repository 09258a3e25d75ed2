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
  uint64_t size() const override { return m_size; }
  size_t read(uint64_t offset, std::span<uint8_t> buffer) override;

 private:
  vk::unique_fd m_fd;
  uint64_t m_size = 0;
};
