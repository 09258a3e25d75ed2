// The shadow-copy reader's open path: libvshadow reading the volume header,
// the catalog and each store's header through slix's libbfio handle, then a
// few reads of each store (its block list and the reads it sends on to the
// volume).  The input is a list of patches (overlay_disk.h) over a 64 MiB
// volume holding only the metadata of two stores (fuzz/base/vshadow_volume.base,
// written by fuzz/make_vshadow_base.py); an empty list is that volume.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "disk/shadow_copies.h"
#include "fuzz/overlay_disk.h"

namespace {

const fuzz_overlay::sparse_image& base_volume() {
  static const fuzz_overlay::sparse_image image = fuzz_overlay::load(SLIX_FUZZ_BASE_DIR "/vshadow_volume.base");
  return image;
}

// Stores past the first few add nothing the first ones do not reach.
constexpr uint32_t stores_read = 4;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz_overlay::sparse_image& base = base_volume();
  fuzz_overlay::overlay_disk volume(base, fuzz_overlay::apply_patches(base, std::span<const uint8_t>(data, size)));
  const shadow_opening opening = open_shadow_copies(volume, 0);
  std::vector<uint8_t> buffer(4096);
  for (const shadow_store_info& store : opening.stores) {
    if (store.number > stores_read) break;
    std::unique_ptr<disk> store_disk = open_shadow_store(opening.volume, store.number);
    if (!store_disk) continue;
    const uint64_t end = store_disk->size();
    for (const uint64_t offset : {uint64_t{0}, uint64_t{0x1e00}, end / 2, end > 4096 ? end - 4096 : 0})
      store_disk->read(offset, buffer);
  }
  return 0;
}
