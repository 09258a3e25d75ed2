// A disk object over bytes held in memory: hand-made disks in tests and
// arbitrary inputs in the fuzz targets.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "disk/disk.h"

class memory_disk : public disk {
 public:
  explicit memory_disk(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) {}

  bool is_open() const override { return true; }
  uint64_t size() const override { return m_bytes.size(); }
  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    if (offset >= m_bytes.size()) return 0;
    const size_t count = std::min<uint64_t>(buffer.size(), m_bytes.size() - offset);
    std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, buffer.begin());
    return count;
  }

 private:
  std::vector<uint8_t> m_bytes;
};
