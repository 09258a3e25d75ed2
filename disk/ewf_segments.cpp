#include "disk/ewf_segments.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "support/checked_math.h"
#include "support/le_reader.h"

namespace fmt = ewf_format;

namespace {

// The section type: the text at the start of its descriptor, up to the first NUL.
std::string_view type_of(std::span<const uint8_t> descriptor) {
  const auto* text = reinterpret_cast<const char*>(descriptor.data());
  std::string_view type(text, std::min(descriptor.size(), fmt::section_type_size));
  return type.substr(0, type.find('\0'));
}

enum class table_state { sound, truncated, damaged };

// The chunks a table lists must lie in the file, one after another, each no
// larger than a chunk can be.  A table the file ends inside is checked as
// far as the file holds it.
table_state check_table(uint64_t file_size, uint64_t descriptor_at, uint64_t section_end, segment_reader read_at,
                        void* context) {
  const uint64_t header_at = descriptor_at + fmt::descriptor_size;
  const bool truncated = section_end > file_size;
  const uint64_t end = truncated ? file_size : section_end;
  std::array<uint8_t, fmt::table_header_size> header{};
  if (end < header_at + header.size() || read_at(context, header_at, header) != header.size())
    return truncated ? table_state::truncated : table_state::damaged;
  const vk::le_reader fields(header);
  const uint64_t stated = fields.u32(fmt::table_entry_count);
  const uint64_t base = fields.u64(fmt::table_base_offset);
  const uint64_t room = (end - header_at - header.size()) / fmt::table_entry_size;
  if (stated > room && !truncated) return table_state::damaged;
  const uint64_t count = std::min(stated, room);
  std::vector<uint8_t> entries(count * fmt::table_entry_size);
  if (read_at(context, header_at + header.size(), entries) != entries.size()) return table_state::damaged;
  const vk::le_reader table(entries);
  uint64_t previous = 0;
  for (uint64_t i = 0; i < count; ++i) {
    const uint64_t at = base + (table.u32(i * fmt::table_entry_size) & fmt::table_offset_mask);
    if (at >= file_size || (i > 0 && (at < previous || at - previous > fmt::max_chunk_bytes)))
      return table_state::damaged;
    previous = at;
  }
  if (truncated) return table_state::truncated;
  const bool last_fits = descriptor_at < previous || descriptor_at - previous <= fmt::max_chunk_bytes;
  return last_fits ? table_state::sound : table_state::damaged;
}

}  // namespace

segment_check check_ewf_segment(uint64_t file_size, segment_reader read_at, void* context) {
  segment_check check;
  std::array<uint8_t, fmt::file_header_size> header{};
  if (read_at(context, 0, header) != header.size()) return check;
  check.number = vk::le_reader(header).u16(fmt::segment_number);
  // Each descriptor lies past the one before it, so the walk ends within
  // file_size / descriptor_size steps even on a hostile chain.
  std::array<uint8_t, fmt::descriptor_size> descriptor{};
  for (uint64_t at = fmt::file_header_size; at <= file_size && file_size - at >= descriptor.size();) {
    if (read_at(context, at, descriptor) != descriptor.size()) return check;
    const std::string_view type = type_of(descriptor);
    const uint64_t next = vk::le_reader(descriptor).u64(fmt::section_next);
    const uint64_t size = vk::le_reader(descriptor).u64(fmt::section_size);
    if (type == "table") {
      const table_state state = check_table(file_size, at, vk::saturating_add(at, size), read_at, context);
      if (state == table_state::damaged) check.end = segment_end::damaged;
      if (state != table_state::sound) return check;
    }
    if ((type == "next" || type == "done") && next == at) {
      check.end = type == "done" ? segment_end::done : segment_end::next;
      return check;
    }
    if (next <= at) return check;
    at = next;
  }
  return check;
}

std::string next_segment_name(const std::string& name) {
  if (name.size() < 2) return "";
  std::string next = name;
  char& tens = next[next.size() - 2];
  char& units = next[next.size() - 1];
  const bool numbered = tens >= '0' && tens <= '9' && units >= '0' && units <= '9';
  if (!numbered || (tens == '9' && units == '9')) return "";
  if (units == '9') {
    ++tens;
    units = '0';
  } else {
    ++units;
  }
  return next;
}
