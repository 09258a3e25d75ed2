// libvshadow follows a store's lists of blocks (its block list, block range
// list and bitmaps, each a chain of 16 KiB blocks naming the next) when the
// store is first read, and an older store's reads go on through the lists of
// every newer one.  It follows a chain that comes back to one of its own
// blocks for ever.  So slix walks every chain first, in constant memory, and
// a store whose reads would meet a chain that loops, leaves the volume or
// cannot be read is not read.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "disk/disk.h"

struct shadow_store_lists {
  std::array<uint8_t, 16> guid{};
  uint64_t header = 0;  // the store header's block
  // The first block of the block list, block range list, bitmap and
  // previous bitmap (0: none).
  std::array<uint64_t, 4> first_blocks{};
};

// At most this many store-locations entries are taken from a catalog
// (Windows keeps 512 shadow copies of a volume at most).
constexpr size_t max_catalog_stores = 1024;

// The store-locations entries of the catalog of the volume that starts at
// `volume_offset` of `source` and holds `volume_size` bytes, in catalog
// order; nothing when the catalog's own chain is unsound (libvshadow would
// follow a looping chain for ever, so it must not be asked to open it).
std::optional<std::vector<shadow_store_lists>> read_store_lists(disk& source, uint64_t volume_offset,
                                                                uint64_t volume_size);

// Whether the header of every store lies in the volume and its two machine
// names fit in its block.  libvshadow reads every store header when it opens
// the catalog, and copies a name of any count it is given past its buffer.
bool store_headers_sound(disk& source, uint64_t volume_offset, uint64_t volume_size,
                         const std::vector<shadow_store_lists>& stores);

// Whether every list of `store` ends within the volume without coming back
// to one of its blocks.
bool store_lists_sound(disk& source, uint64_t volume_offset, uint64_t volume_size, const shadow_store_lists& store);
