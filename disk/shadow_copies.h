// Volume Shadow Copies: the older states of an NTFS volume that Windows keeps
// inside the volume itself.  A catalog near the volume's start lists the
// stores; each store holds the blocks that have changed since it was taken,
// and reads fall through to the volume for the others.  libvshadow
// (libvshadow-dev) reads the catalog and assembles the stores; it is handed
// the volume's bytes through a libbfio handle whose reads are reads of the
// slix disk the volume lies on, so every container (raw, split, E01, VHD,
// QCOW2, VMDK chains, devices) serves shadow copies alike.  Each store then
// becomes a disk of its own, with the volume at offset 0.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "disk/disk.h"

struct shadow_store_info {
  uint32_t number = 0;         // from 1, in creation order as the catalog gives them
  std::string identifier;      // the store's GUID, "779439b4-ce6a-11ea-8bd1-525400123456"
  uint64_t creation_time = 0;  // FILETIME
  uint64_t size = 0;           // bytes of the volume the store presents
  bool readable = true;        // false when the catalog names the store but it cannot be opened
};

enum class shadow_catalog {
  read,       // the catalog was read; `stores` lists what it holds (maybe nothing)
  none,       // the volume holds no shadow-copy catalog
  damaged,    // the volume carries the shadow-copy signature, but its catalog cannot be read
  not_built,  // this slix was built without libvshadow
};

class shadow_volume;

struct shadow_opening {
  shadow_catalog catalog = shadow_catalog::none;
  std::shared_ptr<shadow_volume> volume;  // set when the catalog was read
  std::vector<shadow_store_info> stores;
};

// True when this slix was built with libvshadow.
bool shadow_copies_supported();

// Reads the shadow-copy catalog of the volume that starts at `volume_offset`
// of `source`.  `source` must outlive the result and every store disk.
shadow_opening open_shadow_copies(disk& source, uint64_t volume_offset);

// The disk of store `number` (from 1); nullptr when it cannot be opened.
// Reads the store cannot serve are counted as failed reads.
std::unique_ptr<disk> open_shadow_store(const std::shared_ptr<shadow_volume>& volume, uint32_t number);
