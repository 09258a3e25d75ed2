// Arbitrary bytes as a disk image, through the partition scan (with and
// without the search for a displaced MBR) and the volume offset check.
// Messages go to standard error; run with -close_fd_mask=2 to keep quiet.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "disk/memory_disk.h"
#include "disk/partition_types.h"
#include "disk/vk_disk_structs.h"
#include "disk/volume_offset.h"
#include "support/le_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The first eight bytes pick the requested offset, so the check's
  // row matching is reached as well as its listing.
  const vk::le_reader head(std::span<const uint8_t>(data, size));
  const uint64_t requested = head.u64(0) % (size + 1);
  memory_disk source(std::vector<uint8_t>(data, data + size));
  partition_list rows;
  for (bool search : {false, true}) {
    if (!scan_partitions(source, search, rows)) continue;
    for (const partition_record& row : rows) {
      if (partition_type_name(row.type).empty()) __builtin_trap();
      (void)row.end_byte();
    }
  }
  const volume_offset_check check =
      check_volume_offset(source, (size & 2) ? std::optional<uint64_t>(requested) : std::nullopt, (size & 1) != 0);
  if (check.usable && check.offset > source.size()) __builtin_trap();
  return 0;
}
