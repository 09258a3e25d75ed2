#include "disk/volume_offset.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "disk/boot_sector_format.h"
#include "disk/partition_format.h"
#include "disk/partition_types.h"
#include "disk/vk_disk_structs.h"
#include "disk/volume_content.h"
#include "support/message.h"

namespace pf = partition_format;

namespace {

using ull = unsigned long long;

// A disk with no partition table may be one NTFS volume from its first byte.
bool starts_with_ntfs_boot_sector(disk& source) {
  std::vector<uint8_t> head(boot_sector_format::oem_name + boot_sector_format::oem_name_size);
  return source.read_exact(0, head) && is_ntfs_boot_sector(head);
}

std::string row_name(const partition_record& row) { return row.is_gap() ? "unalloc" : partition_type_name(row.type); }

// Every row in disk order, gaps named "unalloc", so the examiner sees the
// whole layout of the disk.
void print_listing(partition_list rows) {
  std::stable_sort(rows.begin(), rows.end(),
                   [](const partition_record& a, const partition_record& b) { return a.byte_offset() < b.byte_offset(); });
  vk::print_message("\n");
  for (const partition_record& row : rows) {
    vk::print_message("volume offset [ 0x%llx ] : %s\n", static_cast<ull>(row.byte_offset()), row_name(row).c_str());
  }
  vk::print_message("\n");
}

// Without -offset only a volume that is the whole disk counts as chosen: an
// examiner who gave no offset selected nothing.  With it, the first row
// starting there (table rows come before gaps).  Gaps are never suggested.
bool row_is_requested(const partition_record& row, std::optional<uint64_t> requested) {
  if (!requested) return row.kind == row_kind::whole_volume;
  return row.byte_offset() == *requested;
}

// The row the requested offset selects, and the last NTFS row seen before it.
struct row_walk {
  const partition_record* selected = nullptr;
  std::optional<uint64_t> suggestion;
};

row_walk walk_rows(const partition_list& rows, std::optional<uint64_t> requested, uint64_t disk_size) {
  row_walk walk;
  for (const partition_record& row : rows) {
    const uint64_t offset = row.byte_offset();
    if (row_is_requested(row, requested)) {
      walk.selected = &row;
      return walk;
    }
    if (row.is_gap() || !names_ntfs(partition_type_name(row.type))) continue;
    walk.suggestion = offset;
    if (offset > disk_size)
      vk::print_message("volume offset 0x%llx is not within image bounds\n", static_cast<ull>(offset));
  }
  return walk;
}

bool scan_or_search(disk& source, partition_list& rows, bool& bare_ntfs) {
  if (scan_partitions(source, false, rows)) return true;
  if (starts_with_ntfs_boot_sector(source)) {
    bare_ntfs = true;
    return true;
  }
  if (!scan_partitions(source, true, rows)) {
    vk::print_message("couldn't find any partitions on disk\n");
    return false;
  }
  vk::print_message("disk is corrupted, partition info questionable\n");
  return true;
}

}  // namespace

bool check_volume_offset(disk& source, std::optional<uint64_t> requested, bool ignore_image_size,
                         uint64_t& offset_out, bool& found_ntfs) {
  found_ntfs = false;
  const uint64_t disk_size = source.size();
  if (requested.value_or(0) > disk_size) {
    vk::print_message("volume offset 0x%llx is not within image bounds\n", static_cast<ull>(*requested));
    return false;
  }
  partition_list rows;
  bool bare_ntfs = false;
  if (!scan_or_search(source, rows, bare_ntfs)) return false;
  if (bare_ntfs) {
    found_ntfs = true;
    offset_out = 0;
    return true;
  }
  const row_walk walk = walk_rows(rows, requested, disk_size);
  found_ntfs = walk.suggestion.has_value();
  if (walk.selected != nullptr) {
    const uint64_t selected = walk.selected->byte_offset();
    const std::string name = row_name(*walk.selected);
    if (!names_ntfs(name)) {
      vk::print_message("volume offset selected 0x%llx is not a NTFS partition, but [%s]\n",
                        static_cast<ull>(selected), name.c_str());
    } else {
      found_ntfs = true;
      if (disk_size < walk.selected->end_byte() && !ignore_image_size) {
        vk::print_message(
            "volume offset 0x%llx is a NTFS partition, however image size does not encapsulate entire volume\n",
            static_cast<ull>(selected));
        return false;
      }
      offset_out = selected;
      return true;
    }
  }
  print_listing(rows);
  if (walk.suggestion) {
    offset_out = *walk.suggestion;
    vk::print_message("use option [-offset 0x%llx]\n", static_cast<ull>(*walk.suggestion));
  } else {
    vk::print_message("prob detecting ntfs partition\n");
  }
  return false;
}
