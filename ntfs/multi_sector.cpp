#include "ntfs/multi_sector.h"

#include <algorithm>

#include "support/le_reader.h"

namespace msf = multi_sector_format;

uint32_t record_signature(std::span<const uint8_t> record) { return vk::le_reader(record).u32(msf::signature); }

uint16_t update_sequence_count(std::span<const uint8_t> record) {
  return vk::le_reader(record).u16(msf::usa_count);
}

size_t fixup_stride(size_t record_size, uint16_t usa_count, size_t sector_size) {
  if (usa_count >= 2 && (usa_count - 1) * sector_size == record_size) return sector_size;
  return msf::usa_block;
}

size_t apply_fixup(std::span<uint8_t> record, size_t stride) {
  // A stride below one word would put the first target before the record.
  if (stride < 2) return 0;
  const vk::le_reader header(record);
  const size_t array_offset = header.u16(msf::usa_offset);
  const size_t count = header.u16(msf::usa_count);
  if (!header.ok()) return 0;
  const size_t last_block = std::min(count == 0 ? 0 : count - 1, msf::fixup_span / stride);
  // The array is read through the same bytes being repaired, so a hostile
  // array overlapping a block end sees the words already written.
  size_t restored = 0;
  for (size_t i = 1; i <= last_block; ++i) {
    const uint16_t saved = header.u16(array_offset + 2 * i);
    if (!header.ok() || !vk::put_u16(record, stride * i - 2, saved)) break;
    ++restored;
  }
  return restored;
}
