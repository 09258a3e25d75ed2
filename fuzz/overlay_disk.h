// Fuzz inputs laid over a real image.  A whole volume or disk is far too
// large to be a useful fuzz input, and random bytes almost never get past a
// boot sector or a partition table.  So these targets start from a small
// real image, stored sparsely in fuzz/base/ (its size and the regions the
// parsers read: boot sectors, partition tables, MFT and index records; the
// rest reads as zeros), and the fuzz input is a list of patches over those
// regions.  An empty patch list is the real image, which the parsers read
// right through; every mutation then lands in metadata.
//
// Base file (written by fuzz/seed_tool.py), little-endian: "slixbase", u64
// image size, u32 region count, u32 0, then per region u64 offset, u32
// length, u32 0 (sorted, not overlapping), then the regions' bytes in order.
//
// Patch list: repeated { u8 region (modulo the count), u16 offset in the
// region (modulo its length), u16 length, that many bytes }.  The bytes
// replace the regions' bytes from there on, running into the following
// regions, and are clipped at the end of the last one and of the input.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <span>
#include <vector>

#include "disk/disk.h"
#include "support/le_reader.h"

namespace fuzz_overlay {

struct region {
  uint64_t offset = 0;  // in the image
  uint32_t length = 0;
  uint32_t at = 0;  // in the concatenated region bytes
};

struct sparse_image {
  uint64_t size = 0;
  std::vector<region> regions;
  std::vector<uint8_t> bytes;  // every region's bytes, back to back
};

// Loads a base file; a missing or malformed one ends the run at once, since
// a fuzz target without its base would silently test nothing.
inline sparse_image load(const char* path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<uint8_t> raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const vk::le_reader reader{std::span<const uint8_t>(raw)};
  constexpr size_t header = 24, entry = 16;
  sparse_image image;
  const bool magic = raw.size() >= header && std::equal(raw.begin(), raw.begin() + 8, "slixbase");
  const uint32_t count = reader.u32(16);
  if (!magic || count == 0 || count > 256 || raw.size() < header + entry * count) {
    std::fprintf(stderr, "fuzz base image %s is missing or malformed\n", path);
    std::abort();
  }
  image.size = reader.u64(8);
  uint64_t at = 0, end = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const region r{reader.u64(header + entry * i), reader.u32(header + entry * i + 8), static_cast<uint32_t>(at)};
    if (r.length == 0 || r.offset < end || r.offset + r.length > image.size) {
      std::fprintf(stderr, "fuzz base image %s has a bad region %u\n", path, i);
      std::abort();
    }
    end = r.offset + r.length;
    at += r.length;
    image.regions.push_back(r);
  }
  const size_t first = header + entry * count;
  if (raw.size() != first + at) {
    std::fprintf(stderr, "fuzz base image %s has %zu bytes, %llu expected\n", path, raw.size(),
                 static_cast<unsigned long long>(first + at));
    std::abort();
  }
  image.bytes.assign(raw.begin() + static_cast<std::ptrdiff_t>(first), raw.end());
  return image;
}

// Lays the patches of `input` over a copy of the base's region bytes.
inline std::vector<uint8_t> apply_patches(const sparse_image& base, std::span<const uint8_t> input) {
  std::vector<uint8_t> bytes = base.bytes;
  const vk::le_reader reader(input);
  size_t pos = 0;
  while (pos + 5 <= input.size()) {
    const region& r = base.regions[input[pos] % base.regions.size()];
    const size_t start = r.at + reader.u16(pos + 1) % r.length;
    const size_t length = std::min<size_t>({reader.u16(pos + 3), input.size() - (pos + 5), bytes.size() - start});
    std::copy_n(input.begin() + static_cast<std::ptrdiff_t>(pos + 5), length,
                bytes.begin() + static_cast<std::ptrdiff_t>(start));
    pos += 5 + length;
  }
  return bytes;
}

// The image with its region bytes replaced: reads return the regions' bytes
// where they lie and zeros everywhere else.
class overlay_disk : public disk {
 public:
  overlay_disk(const sparse_image& base, std::vector<uint8_t> bytes) : m_base(base), m_bytes(std::move(bytes)) {}

  bool is_open() const override { return true; }
  uint64_t size() const override { return m_base.size; }
  size_t read(uint64_t offset, std::span<uint8_t> buffer) override {
    if (offset >= m_base.size) return 0;
    const size_t count = static_cast<size_t>(std::min<uint64_t>(buffer.size(), m_base.size - offset));
    std::fill_n(buffer.begin(), count, uint8_t{0});
    const uint64_t end = offset + count;
    // The first region that ends after `offset`, then every one that starts
    // before `end`.
    auto it = std::upper_bound(m_base.regions.begin(), m_base.regions.end(), offset,
                               [](uint64_t value, const region& r) { return value < r.offset + r.length; });
    for (; it != m_base.regions.end() && it->offset < end; ++it) {
      const uint64_t from = std::max(offset, it->offset);
      const uint64_t to = std::min(end, it->offset + it->length);
      std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(it->at + (from - it->offset)), to - from,
                  buffer.begin() + static_cast<std::ptrdiff_t>(from - offset));
    }
    return count;
  }

 private:
  const sparse_image& m_base;
  std::vector<uint8_t> m_bytes;
};

}  // namespace fuzz_overlay
