#include "disk/volume_offset.h"

#include <algorithm>

#include "disk/boot_sector_format.h"
#include "disk/partition_types.h"
#include "disk/vk_disk_structs.h"
#include "disk/volume_content.h"

namespace {

// A disk with no partition table may be one NTFS volume from its first byte.
bool starts_with_ntfs_boot_sector(disk& source) {
  std::vector<uint8_t> head(boot_sector_format::oem_name + boot_sector_format::oem_name_size);
  return source.read_exact(0, head) && is_ntfs_boot_sector(head);
}

std::string row_name(const partition_record& row) { return row.is_gap() ? "unalloc" : partition_type_name(row.type); }

bool is_ntfs_row(const partition_record& row) { return !row.is_gap() && !row.bitlocker && is_ntfs_type(row.type); }

// Every row in disk order, gaps named "unalloc", so the examiner sees the
// whole layout of the disk.
std::vector<layout_row> layout_of(partition_list rows) {
  std::stable_sort(rows.begin(), rows.end(),
                   [](const partition_record& a, const partition_record& b) { return a.byte_offset() < b.byte_offset(); });
  std::vector<layout_row> layout;
  for (const partition_record& row : rows) layout.push_back({row.byte_offset(), row_name(row)});
  return layout;
}

// Without -offset only a volume that is the whole disk counts as chosen: an
// examiner who gave no offset selected nothing.  With it, the first row
// starting there (table rows come before gaps).  Gaps are never suggested.
bool row_is_requested(const partition_record& row, std::optional<uint64_t> requested) {
  if (!requested) return row.kind == row_kind::whole_volume;
  return row.byte_offset() == *requested;
}

// Walks the rows up to the requested one, remembering the last NTFS row
// before it as the suggestion.
const partition_record* walk_rows(const partition_list& rows, std::optional<uint64_t> requested, uint64_t disk_size,
                                  volume_offset_check& check) {
  for (const partition_record& row : rows) {
    if (row_is_requested(row, requested)) return &row;
    if (row.bitlocker) check.findings.push_back({offset_finding_kind::bitlocker_volume, row.byte_offset(), {}});
    if (!is_ntfs_row(row)) continue;
    check.suggestion = row.byte_offset();
    if (row.byte_offset() > disk_size)
      check.findings.push_back({offset_finding_kind::suggestion_outside_image, row.byte_offset(), {}});
  }
  return nullptr;
}

bool scan_or_search(disk& source, partition_list& rows, bool& bare_ntfs, volume_offset_check& check) {
  if (scan_partitions(source, false, rows)) return true;
  if (starts_with_ntfs_boot_sector(source)) {
    bare_ntfs = true;
    return true;
  }
  if (!scan_partitions(source, true, rows)) {
    check.findings.push_back({offset_finding_kind::no_partitions, 0, {}});
    return false;
  }
  check.findings.push_back({offset_finding_kind::table_questionable, 0, {}});
  return true;
}

// The requested row: usable when it holds NTFS that the image holds whole
// (or the examiner accepted a shorter image).  False when the listing must
// follow.
bool take_selected_row(const partition_record& row, uint64_t disk_size, bool ignore_image_size,
                       volume_offset_check& check) {
  const uint64_t offset = row.byte_offset();
  if (row.bitlocker) {
    check.findings.push_back({offset_finding_kind::bitlocker_volume, offset, {}});
    return true;
  }
  if (!is_ntfs_row(row)) {
    check.findings.push_back({offset_finding_kind::selected_not_ntfs, offset, row_name(row)});
    return false;
  }
  if (disk_size < row.end_byte() && !ignore_image_size) {
    check.findings.push_back({offset_finding_kind::volume_larger_than_image, offset, {}});
    return true;
  }
  check.usable = true;
  check.offset = offset;
  return true;
}

}  // namespace

volume_offset_check check_volume_offset(disk& source, std::optional<uint64_t> requested, bool ignore_image_size) {
  volume_offset_check check;
  const uint64_t disk_size = source.size();
  if (requested.value_or(0) > disk_size) {
    check.findings.push_back({offset_finding_kind::requested_outside_image, *requested, {}});
    return check;
  }
  partition_list rows;
  bool bare_ntfs = false;
  if (!scan_or_search(source, rows, bare_ntfs, check)) return check;
  if (bare_ntfs) {
    check.usable = true;
    return check;
  }
  const partition_record* selected = walk_rows(rows, requested, disk_size, check);
  if (selected != nullptr && take_selected_row(*selected, disk_size, ignore_image_size, check)) {
    check.suggestion.reset();
    return check;
  }
  check.layout = layout_of(std::move(rows));
  return check;
}
