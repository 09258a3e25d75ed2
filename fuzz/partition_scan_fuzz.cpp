// A disk image through the partition scan (with and without the search for
// a displaced MBR) and the volume offset check.  The first byte picks how
// the input makes the disk (modulo 3):
//   0: the rest is the whole disk.  Its first eight bytes pick the offset
//      asked for (modulo the size + 1), and the size's two low bits whether
//      an offset is asked for (bit 1) and a short image accepted (bit 0).
//      The scan reads 16 KiB at 0 before anything else, so shorter disks
//      stop there.
//   1, 2: patches laid over an 8 MiB real disk (see overlay_disk.h):
//      fuzz/base/mbr_disk.base (MBR, an extended partition with three
//      logical ones) or fuzz/base/gpt_disk.base (GPT, both tables), each
//      with NTFS, FAT and ext2 heads at its partitions' starts.  Before the
//      patches: a flags byte (the two bits above) and the offset asked for
//      (u64, modulo the disk size + 1).
// Messages go to standard error; run with -close_fd_mask=2 to keep quiet.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "disk/memory_disk.h"
#include "disk/partition_types.h"
#include "disk/vk_disk_structs.h"
#include "disk/volume_offset.h"
#include "fuzz/overlay_disk.h"
#include "support/le_reader.h"

namespace {

const fuzz_overlay::sparse_image& base_disk(bool gpt) {
  static const fuzz_overlay::sparse_image mbr = fuzz_overlay::load(SLIX_FUZZ_BASE_DIR "/mbr_disk.base");
  static const fuzz_overlay::sparse_image guid = fuzz_overlay::load(SLIX_FUZZ_BASE_DIR "/gpt_disk.base");
  return gpt ? guid : mbr;
}

void scan(disk& source, uint64_t requested, unsigned flags) {
  // The search for a displaced MBR is tried only where the plain scan
  // fails: after a success it would find the same table again.
  partition_list rows;
  if (scan_partitions(source, false, rows) || scan_partitions(source, true, rows)) {
    for (const partition_record& row : rows) {
      if (partition_type_name(row.type).empty()) __builtin_trap();
      (void)row.end_byte();
    }
  }
  const uint64_t offset = requested % (source.size() + 1);
  const volume_offset_check check =
      check_volume_offset(source, (flags & 2) ? std::optional<uint64_t>(offset) : std::nullopt, (flags & 1) != 0);
  if (check.usable && check.offset > source.size()) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  base_disk(false);
  base_disk(true);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const std::span<const uint8_t> rest(data + 1, size - 1);
  const vk::le_reader head(rest);
  if (data[0] % 3 == 0) {
    memory_disk source(std::vector<uint8_t>(rest.begin(), rest.end()));
    scan(source, head.u64(0), static_cast<unsigned>(rest.size() & 3));
    return 0;
  }
  if (rest.size() < 9) return 0;
  const fuzz_overlay::sparse_image& base = base_disk(data[0] % 3 == 2);
  fuzz_overlay::overlay_disk source(base, fuzz_overlay::apply_patches(base, rest.subspan(9)));
  scan(source, head.u64(1), rest[0]);
  return 0;
}
