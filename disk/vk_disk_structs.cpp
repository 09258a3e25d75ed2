#include "disk/vk_disk_structs.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "disk/gpt_table.h"
#include "disk/partition_format.h"
#include "disk/partition_types.h"
#include "disk/volume_content.h"
#include "support/checked_math.h"
#include "support/le_reader.h"

namespace pf = partition_format;

namespace {

// A displaced MBR is looked for sector by sector up to this offset.
constexpr uint64_t search_limit = 1 << 20;

// A partition's first bytes are enough to tell its file system: the boot
// sector, or the ext superblock at byte 1024.
constexpr uint64_t content_probe_size = 2048;

using vk::saturating_add;
using vk::saturating_mul;

struct mbr_entry {
  uint8_t type = 0;
  uint64_t start_lba = 0;  // relative to the base of the table holding it
  uint64_t sector_count = 0;
};

mbr_entry read_mbr_entry(const vk::le_reader& sector, size_t index) {
  const vk::le_reader raw = sector.sub(pf::mbr_table + index * pf::mbr_entry_size, pf::mbr_entry_size);
  return {raw.u8(pf::mbr_entry_type), raw.u32(pf::mbr_entry_start_lba), raw.u32(pf::mbr_entry_sector_count)};
}

bool is_taken(const mbr_entry& entry) {
  return entry.type != 0 && entry.sector_count != 0 && is_known_mbr_type(entry.type);
}

// Walks a chain of extended boot records.  Logical partitions are relative to
// the record that lists them; links to the next record are relative to the
// chain's base (the extended partition's own start).  The chain is a linked
// list stored on the disk itself, so a damaged or hostile record can link
// back to an earlier one: the walk ends at a record already visited, and at
// one past the end of the disk, so its length is bounded by the disk's size
// and never by a count that a real disk could exceed.
void walk_extended_chain(disk& source, uint64_t chain_base, uint32_t sector_size, partition_list& rows) {
  std::set<uint64_t> visited;
  uint64_t record_lba = chain_base;
  std::vector<uint8_t> sector(pf::mbr_size);
  const uint64_t disk_sectors = source.size() / sector_size;
  while (record_lba < disk_sectors && visited.insert(record_lba).second) {
    if (!source.read_exact(saturating_mul(record_lba, sector_size), sector)) return;
    const vk::le_reader record(sector);
    bool has_next = false;
    uint64_t next_lba = 0;
    for (size_t i = 0; i < pf::mbr_entry_count; ++i) {
      const mbr_entry entry = read_mbr_entry(record, i);
      if (!is_taken(entry)) break;
      if (!is_extended_chain_type(entry.type)) {
        rows.push_back(make_row(saturating_add(record_lba, entry.start_lba), entry.sector_count, entry.type,
                                sector_size, row_kind::logical));
      } else if (!has_next) {
        has_next = true;
        next_lba = saturating_add(chain_base, entry.start_lba);
      }
    }
    if (!has_next) return;
    record_lba = next_lba;
  }
}

// Walks the four entries of an MBR whose own LBA is `base`.  False when a
// protective entry hands the disk to the GPT reader.
bool walk_mbr(disk& source, std::span<const uint8_t> mbr, uint64_t base, uint32_t sector_size,
              partition_list& rows) {
  const vk::le_reader table(mbr);
  for (size_t i = 0; i < pf::mbr_entry_count; ++i) {
    const mbr_entry entry = read_mbr_entry(table, i);
    if (entry.type == pf::mbr_type_gpt_protective) return false;
    if (!is_taken(entry)) continue;
    const uint64_t start = saturating_add(base, entry.start_lba);
    const bool extended = is_extended_chain_type(entry.type);
    rows.push_back(make_row(start, entry.sector_count, entry.type, sector_size, extended ? row_kind::extended : row_kind::primary));
    if (extended) walk_extended_chain(source, start, sector_size, rows);
  }
  return true;
}

bool read_mbr_layout(disk& source, std::span<const uint8_t> mbr, uint64_t base, uint32_t sector_size,
                     partition_list& rows) {
  if (walk_mbr(source, mbr, base, sector_size, rows)) return true;
  rows.clear();
  return read_gpt_table(source, rows);
}

// A disk whose first sector was overwritten may still hold its MBR a little
// further on (an image taken with a header in front, for instance).  The
// first MiB is read in one piece and searched sector by sector.
bool read_displaced_mbr(disk& source, partition_list& rows) {
  std::vector<uint8_t> area(search_limit + pf::mbr_size);
  area.resize(source.read(0, area));
  for (size_t offset = pf::mbr_size; offset <= search_limit && offset + pf::mbr_size <= area.size();
       offset += pf::mbr_size) {
    const std::span<const uint8_t> sector = std::span<const uint8_t>(area).subspan(offset, pf::mbr_size);
    if (is_master_boot_record(sector))
      return read_mbr_layout(source, sector, offset / pf::mbr_size, pf::mbr_size, rows);
  }
  return false;
}

partition_record whole_disk_row(uint64_t disk_size, uint16_t type) {
  return make_row(0, disk_size / pf::mbr_size, type, pf::mbr_size, row_kind::whole_volume);
}

bool has_ext_superblock(std::span<const uint8_t> head) {
  const vk::le_reader reader(head);
  return reader.u16(pf::ext_magic) == pf::ext_magic_value && reader.ok();
}

bool read_table(disk& source, std::span<const uint8_t> head, bool search, partition_list& rows) {
  if (is_master_boot_record(head.first(pf::mbr_size))) return read_mbr_layout(source, head, 0, pf::mbr_size, rows);
  if (is_volume_boot_sector(head.first(pf::mbr_size))) {
    rows.push_back(whole_disk_row(source.size(), 0));
    return true;
  }
  if (const uint32_t sector_size = mbr_sector_size_from_signature(head, false); sector_size != 0)
    return read_mbr_layout(source, head, 0, sector_size, rows);
  if (has_ext_superblock(head)) {
    rows.push_back(whole_disk_row(source.size(), partition_type_guessed | 0x83));
    return true;
  }
  return search && read_displaced_mbr(source, rows);
}

// Replaces each row's type by the one its first bytes suggest, when the two
// disagree.
void classify_rows(disk& source, partition_list& rows) {
  std::vector<uint8_t> probe;
  for (partition_record& row : rows) {
    const uint64_t bytes = saturating_mul(row.sector_count, row.sector_size);
    probe.resize(bytes <= content_probe_size ? row.sector_size : content_probe_size);
    const size_t got = source.read(row.byte_offset(), probe);
    const volume_content content = classify_volume_content(std::span(probe).first(got));
    row.type = type_after_content(row.type, content);
    row.bitlocker = content == volume_content::bitlocker;
  }
}

// Every stretch of the disk that no row covers becomes an "unalloc" row.  An
// extended partition is a container, not space in use: the free sectors
// inside it (its boot records' own sectors, the space between and after its
// logical partitions) are gaps too.  Rows may still overlap (a damaged
// table), so the covered end is carried as a running maximum.
void add_gaps(partition_list& rows, uint64_t disk_size) {
  const uint32_t sector_size = rows.front().sector_size;
  const uint64_t disk_sectors = disk_size / sector_size;
  std::vector<std::pair<uint64_t, uint64_t>> extents;
  for (const partition_record& row : rows)
    if (row.kind != row_kind::extended) extents.emplace_back(row.start_sector, row.end_sector());
  std::sort(extents.begin(), extents.end());
  uint64_t covered = 0;
  partition_list gaps;
  for (const auto& [start, end] : extents) {
    const uint64_t gap_end = std::min(start, disk_sectors);
    if (gap_end > covered) gaps.push_back(make_row(covered, gap_end - covered, 0, sector_size, row_kind::gap));
    covered = std::max(covered, end);
  }
  if (disk_sectors > covered) gaps.push_back(make_row(covered, disk_sectors - covered, 0, sector_size, row_kind::gap));
  rows.insert(rows.end(), gaps.begin(), gaps.end());
}

}  // namespace

partition_record make_row(uint64_t start, uint64_t count, uint16_t type, uint32_t sector_size, row_kind kind) {
  partition_record row;
  row.start_sector = start;
  row.sector_count = count;
  row.type = type;
  row.sector_size = sector_size;
  row.kind = kind;
  return row;
}

uint64_t partition_record::byte_offset() const { return saturating_mul(start_sector, sector_size); }

uint64_t partition_record::end_sector() const { return saturating_add(start_sector, sector_count); }

uint64_t partition_record::end_byte() const { return saturating_mul(end_sector(), sector_size); }

bool scan_partitions(disk& source, bool search, partition_list& rows) {
  rows.clear();
  if (!source.is_open()) return false;
  std::vector<uint8_t> head(pf::layout_probe_size);
  if (!source.read_exact(0, head)) return false;
  partition_list table;
  if (!read_table(source, head, search, table) || table.empty()) return false;
  classify_rows(source, table);
  add_gaps(table, source.size());
  rows = std::move(table);
  return true;
}
