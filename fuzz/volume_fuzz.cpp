// Arbitrary bytes as a volume image (best seeded with small real volumes):
// boot sector validation, the scan for directories, the analysis of every
// directory found, path building and path lookup.
#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "app/indx_options.h"
#include "disk/memory_disk.h"
#include "app/directory_streams.h"
#include "ntfs/directory_tree.h"
#include "ntfs/ntfs.h"
#include "ntfs/path_lookup.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  memory_disk source(std::vector<uint8_t>(data, data + size));
  std::unique_ptr<CNtfs> opened = CNtfs::open(source, 0);
  if (!opened) return 0;
  CNtfs& volume = *opened;
  std::set<uint64_t> dirs;
  list_directories(volume, dirs);
  indx_options options;
  options.max_plausible_entry = volume.mft_record_count();
  directory_index index;
  for (uint64_t dir : dirs) {
    uint16_t ref_seq = 0, rec_seq = 0;
    path_of_entry(volume, dir, ref_seq, rec_seq);
    analyse_directory(volume, options, dir, rec_seq, index);
  }
  for (const char* path : {"\\", "c:\\nested\\a\\b", "\\links\\symlink to c\\d", "docs/2023"}) {
    uint64_t entry = 0;
    uint16_t seq = 0;
    entry_of_path(volume, path, children_of_directories(volume), entry, seq);
  }
  return 0;
}
