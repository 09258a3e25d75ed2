// A disk object over a raw image file or a block device, opened read-only
// and read with pread at absolute offsets.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "disk/disk.h"

class image_disk : public disk {
 public:
  // Opens `path` read-only; is_open() tells whether it worked.  Only regular
  // files and block devices are accepted.
  explicit image_disk(const std::string& path);
  ~image_disk() override;
  image_disk(const image_disk&) = delete;
  image_disk& operator=(const image_disk&) = delete;

  bool is_open() const override { return m_fd >= 0; }
  uint64_t size() const override { return m_size; }
  size_t read(uint64_t offset, std::span<uint8_t> buffer) override;

 private:
  int m_fd = -1;
  uint64_t m_size = 0;
};
