// An NTFS volume through boot sector validation, the scan for directories,
// the analysis of every directory found, path building and path lookup.
// The first byte picks how the input makes the volume:
//   even: patches laid over a small real volume (fuzz/base/ntfs_volume.base,
//         see overlay_disk.h), so every run gets past the boot sector and
//         the $MFT and reaches the directory analysis;
//   odd:  the rest of the input is the whole volume image.
// The base volume (made by fuzz/make_seeds.sh with mkntfs and ntfs-3g) has
// nested\a\b\c\d, docs\2023 with an index allocation and a deleted file in
// its slack, a deleted and a renamed directory, reparse points under links
// (symlink to c, junction to b, relative to d, and loop, a symlink to
// itself), and hardlinks\original.txt with 31 names and an attribute list;
// the lookups below walk those paths.  Every directory's MFT record slack is
// carved, and the free clusters are searched for INDX records.
#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "app/directory_streams.h"
#include "app/indx_options.h"
#include "disk/memory_disk.h"
#include "indx/free_space_scan.h"
#include "fuzz/overlay_disk.h"
#include "ntfs/directory_tree.h"
#include "ntfs/ntfs.h"
#include "ntfs/path_lookup.h"

namespace {

const fuzz_overlay::sparse_image& base_volume() {
  static const fuzz_overlay::sparse_image image = fuzz_overlay::load(SLIX_FUZZ_BASE_DIR "/ntfs_volume.base");
  return image;
}

void analyse_volume(disk& source) {
  std::unique_ptr<CNtfs> opened = CNtfs::open(source, 0);
  if (!opened) return;
  CNtfs& volume = *opened;
  std::set<uint64_t> dirs;
  list_directories(volume, dirs);
  indx_options options;
  options.max_plausible_entry = volume.mft_record_count();
  // -unalloc: each directory's MFT record slack is carved too.
  options.unalloc = true;
  directory_index index;
  for (uint64_t dir : dirs) {
    uint16_t ref_seq = 0, rec_seq = 0;
    path_of_entry(volume, dir, ref_seq, rec_seq);
    analyse_directory(volume, options, dir, rec_seq, index);
  }
  for (const char* path : {"\\", "c:\\nested\\a\\b", "\\links\\symlink to c\\d", "\\links\\junction to b\\c\\..",
                           "\\links\\relative to d\\.", "\\links\\loop\\x", "docs/2023",
                           "\\HARDLINKS\\original.txt:$I30"}) {
    uint64_t entry = 0;
    uint16_t seq = 0;
    entry_of_path(volume, path, children_of_directories(volume), entry, seq);
  }
  // The free-space search takes in and parses whatever INDX records the
  // free clusters hold.
  cluster_ranges skipped;
  skipped.add(volume.mft_record_count() % 97, 3);
  skipped.seal();
  free_space_scan scan;
  scan.skipped = &skipped;
  scan.found = [](found_index_record&& record) {
    entry_stores stores;
    parse_found_record(record, stores);
    majority_parent(stores);
  };
  scan_free_space(volume, scan);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  base_volume();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const std::span<const uint8_t> rest(data + 1, size - 1);
  if ((data[0] & 1) != 0) {
    memory_disk source(std::vector<uint8_t>(rest.begin(), rest.end()));
    analyse_volume(source);
  } else {
    fuzz_overlay::overlay_disk source(base_volume(), fuzz_overlay::apply_patches(base_volume(), rest));
    analyse_volume(source);
  }
  return 0;
}
