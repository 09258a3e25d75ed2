#include "indx/indx_record.h"

#include <algorithm>

#include "indx/indx_format.h"
#include "support/le_reader.h"

namespace {

constexpr uint32_t indx_magic = 0x58444E49;  // "INDX" read as a little-endian u32

// The fixup never reaches beyond the first 4096 bytes of a record, the size
// of an INDX record in every volume this tool reads.
constexpr size_t fixup_span = indx_format::record_size;

}  // namespace

bool has_indx_magic(std::span<const uint8_t> record) {
  const vk::le_reader reader(record);
  const uint32_t magic = reader.u32(indx_format::rec_magic);
  return reader.ok() && magic == indx_magic;
}

size_t apply_fixup(std::span<uint8_t> record, size_t stride) {
  // A stride below one word would put the first target before the record.
  if (stride < 2) return 0;
  const vk::le_reader header(record);
  const size_t array_offset = header.u16(indx_format::rec_usa_offset);
  const size_t count = header.u16(indx_format::rec_usa_count);
  if (!header.ok()) return 0;
  const size_t last_sector = std::min(count == 0 ? 0 : count - 1, fixup_span / stride);
  // The array is read through the same bytes being repaired, so a hostile
  // array overlapping a sector end sees the words already written.
  const vk::le_reader array(header);
  size_t restored = 0;
  for (size_t i = 1; i <= last_sector; ++i) {
    const uint16_t saved = array.u16(array_offset + 2 * i);
    if (!array.ok() || !vk::put_u16(record, stride * i - 2, saved)) break;
    ++restored;
  }
  return restored;
}
