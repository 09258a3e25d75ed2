#include "disk/gpt_table.h"

#include <algorithm>
#include <vector>

#include "disk/partition_format.h"
#include "disk/partition_types.h"
#include "support/checked_math.h"
#include "support/le_reader.h"

namespace pf = partition_format;

namespace {

// Real tables hold 128 entries of 128 bytes (16 KiB), but a header may claim
// up to 2^32 entries of up to 2^32 bytes.  The whole array is read, as far as
// the disk holds it, a bounded piece at a time: a hostile header costs reads
// bounded by the disk's size and never an allocation it dictates.
constexpr uint64_t entry_read_chunk = 1 << 20;

partition_record gpt_fixed_row(uint64_t start, uint64_t count, uint32_t sector_size, row_kind kind) {
  return make_row(start, count, partition_type_gpt, sector_size, kind);
}

// An entry whose type GUID is all zero is unused.
bool is_unused(const vk::le_reader& entry) {
  const vk::le_reader guid = entry.sub(pf::gpt_type_guid, pf::gpt_guid_size);
  const auto bytes = guid.bytes();
  return std::all_of(bytes.begin(), bytes.end(), [](uint8_t b) { return b == 0; });
}

partition_record gpt_entry_row(const vk::le_reader& entry, uint32_t sector_size) {
  partition_record row = gpt_fixed_row(0, 0, sector_size, row_kind::gpt_partition);
  const uint64_t first = entry.u64(pf::gpt_first_lba);
  const uint64_t last = entry.u64(pf::gpt_last_lba);
  row.start_sector = first;
  // An inverted range is listed as an empty partition; a full one saturates.
  const uint64_t span = last - first;
  row.sector_count = last < first ? 0 : (span == UINT64_MAX ? span : span + 1);
  return row;
}

void take_used_entries(const vk::le_reader& entries, uint64_t entry_size, uint32_t sector_size,
                       partition_list& rows) {
  for (uint64_t at = 0; entries.has(at, entry_size); at += entry_size) {
    const vk::le_reader entry = entries.sub(at, entry_size);
    if (!is_unused(entry)) rows.push_back(gpt_entry_row(entry, sector_size));
  }
}

void read_gpt_entries(disk& source, const vk::le_reader& header, uint32_t sector_size, partition_list& rows) {
  const uint64_t entry_size = header.u32(pf::gpt_entry_size);
  const uint64_t count = header.u32(pf::gpt_entry_count);
  // Entries are 128 bytes times a power of two; one larger than a read chunk
  // is damage, and reading it would let the header size the allocation.
  if (!header.ok() || entry_size < pf::gpt_min_entry_size || entry_size > entry_read_chunk) return;
  const uint64_t array_offset = vk::saturating_mul(header.u64(pf::gpt_entries_lba), sector_size);
  if (array_offset >= source.size()) return;
  const uint64_t array_bytes = std::min(vk::saturating_mul(count, entry_size), source.size() - array_offset);
  const uint64_t entries_per_chunk = std::max<uint64_t>(1, entry_read_chunk / entry_size);
  std::vector<uint8_t> chunk;
  for (uint64_t done = 0; done + entry_size <= array_bytes;) {
    const uint64_t bytes = std::min(entries_per_chunk * entry_size, array_bytes - done) / entry_size * entry_size;
    chunk.resize(bytes);
    const size_t got = source.read(array_offset + done, chunk);
    take_used_entries(vk::le_reader(std::span<const uint8_t>(chunk.data(), got)), entry_size, sector_size, rows);
    if (got < bytes) return;
    done += bytes;
  }
}

}  // namespace

uint32_t mbr_sector_size_from_signature(std::span<const uint8_t> head, bool include_512) {
  const vk::le_reader reader(head);
  if (include_512 && reader.u16(pf::mbr_signature) == pf::boot_signature) return pf::mbr_size;
  for (uint32_t size : pf::large_sector_sizes)
    if (reader.u16(size - 2) == pf::boot_signature) return size;
  return 0;
}

namespace {

bool is_primary_header(const vk::le_reader& header) { return header.u64(pf::gpt_current_lba) == 1 && header.ok(); }

bool has_header_signature(const vk::le_reader& header) {
  return vk::has_bytes_at(header.bytes(), pf::gpt_signature, pf::gpt_signature_text);
}

// The sector size of a GPT disk: where the protective MBR's signature says,
// or, when no primary header lies there, the larger sector size whose LBA 1
// holds a signed primary header.  Partitioning tools write the protective
// MBR of a 4096-byte-sector disk with its signature at byte 510, as on a
// 512-byte disk, so the signature alone would look for the header 3.5 KiB
// too early.  0 when neither finds one.
uint32_t gpt_sector_size(std::span<const uint8_t> probe) {
  const uint32_t by_signature = mbr_sector_size_from_signature(probe, true);
  if (by_signature == 0) return 0;
  if (is_primary_header(vk::le_reader(probe).from(by_signature))) return by_signature;
  for (const uint32_t size : pf::large_sector_sizes) {
    const vk::le_reader header = vk::le_reader(probe).from(size);
    if (size != by_signature && has_header_signature(header) && is_primary_header(header)) return size;
  }
  return 0;
}

}  // namespace

bool read_gpt_table(disk& source, partition_list& rows) {
  std::vector<uint8_t> probe(pf::gpt_header_probe);
  probe.resize(source.read(0, probe));
  const uint32_t sector_size = gpt_sector_size(probe);
  if (sector_size == 0) return false;
  const vk::le_reader header = vk::le_reader(probe).from(sector_size);
  // The protective MBR, the header and the entry array.
  rows.push_back(gpt_fixed_row(0, 1, sector_size, row_kind::gpt_structure));
  rows.push_back(gpt_fixed_row(1, 1, sector_size, row_kind::gpt_structure));
  rows.push_back(gpt_fixed_row(pf::gpt_entries_row_start, pf::gpt_entries_row_count, sector_size,
                               row_kind::gpt_structure));
  read_gpt_entries(source, header, sector_size, rows);
  return true;
}
