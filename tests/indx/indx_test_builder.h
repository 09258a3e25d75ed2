// Builds INDX records and index entries byte by byte, for the cases no real
// NTFS driver writes: torn fixups, damaged lengths, entries planted in slack.
#pragma once

#include <string>
#include <vector>

#include "indx/indx_format.h"
#include "ntfs/multi_sector.h"
#include "support/le_reader.h"
#include "support/types.h"
#include "support/vk_time.h"

namespace indx_test {

namespace fmt = indx_format;
inline const uint64_t june_2023 = vk::filetime_from_date(2023, 6, 5);

struct entry_plan {
  std::string name = "file.txt";  // ASCII: one UTF-16 unit per character
  mft_ref parent = make_mft_ref(5, 5);
  uint64_t created = june_2023, modified = june_2023 + 1, changed = june_2023 + 2, accessed = june_2023 + 3;
  mft_ref file_ref = make_mft_ref(100, 1);
  uint64_t real_size = 100;
};

inline void put(std::vector<uint8_t>& bytes, size_t at, uint64_t value, size_t width) {
  for (size_t i = 0; i < width && at + i < bytes.size(); ++i) bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
}
inline uint64_t get(const std::vector<uint8_t>& bytes, size_t at, size_t width) {
  return vk::le_reader(bytes).uint_n(at, width);
}

// The entry as stored, 82 + 2n bytes rounded up to 8; allocated size 4096.
inline std::vector<uint8_t> entry_bytes(const entry_plan& s) {
  const size_t span = fmt::entry_min_size + 2 * s.name.size();
  std::vector<uint8_t> b((span + 7) / 8 * 8, 0);
  const size_t k = fmt::ent_key;
  put(b, fmt::ent_file_ref, s.file_ref, 8), put(b, fmt::ent_length, b.size(), 2);
  put(b, fmt::ent_key_length, span - k, 2), put(b, k + file_name_format::parent_ref, s.parent, 8);
  put(b, k + file_name_format::created, s.created, 8), put(b, k + file_name_format::modified, s.modified, 8);
  put(b, k + file_name_format::mft_changed, s.changed, 8), put(b, k + file_name_format::accessed, s.accessed, 8);
  put(b, k + file_name_format::alloc_size, 4096, 8), put(b, k + file_name_format::real_size, s.real_size, 8);
  put(b, k + file_name_format::attr_flags, 0x20, 4), put(b, k + file_name_format::name_length, s.name.size(), 1);
  put(b, k + file_name_format::name_space, 1, 1);
  for (size_t i = 0; i < s.name.size(); ++i) put(b, k + file_name_format::name + 2 * i, uint8_t(s.name[i]), 2);
  return b;
}

// One 4096-byte INDX record; offsets taken by node_* members and plant() are
// node offsets (from the node header at record offset 24).
class record_builder {
 public:
  static constexpr size_t first_entry = 40;

  record_builder() : m_bytes(fmt::record_size, 0) {
    put(m_bytes, multi_sector_format::signature, multi_sector_format::signature_indx, 4), put(m_bytes, multi_sector_format::usa_offset, 40, 2);
    put(m_bytes, multi_sector_format::usa_count, 9, 2), put_node(fmt::node_entries_offset, first_entry, 4);
  }
  size_t add_live(const entry_plan& plan) {
    plant(m_live_end, entry_bytes(plan));
    m_live_end += entry_bytes(plan).size();
    return m_live_end - entry_bytes(plan).size();
  }
  // The terminating entry and the used size; returns the slack's start.
  size_t end_live() {
    put_node(m_live_end + fmt::ent_length, fmt::ent_head_size, 2);
    put_node(m_live_end + fmt::ent_flags, fmt::entry_flag_last, 2);
    put_node(fmt::node_used_size, m_live_end + fmt::ent_head_size, 4);
    return m_live_end;
  }
  // Bytes past the end of the record are dropped.
  void plant(size_t node_offset, const std::vector<uint8_t>& bytes) {
    for (size_t i = 0; i < bytes.size(); ++i) put(m_bytes, fmt::rec_node_header + node_offset + i, bytes[i], 1);
  }
  void put_node(size_t node_offset, uint64_t value, size_t width) {
    put(m_bytes, fmt::rec_node_header + node_offset, value, width);
  }
  // As on disk: each sector's last word saved in the array, the sequence
  // number written in its place.
  std::vector<uint8_t> on_disk(uint16_t usn = 0x0102) const {
    std::vector<uint8_t> b = m_bytes;
    put(b, 40, usn, 2);
    for (size_t i = 1; i < 9; ++i) put(b, 40 + 2 * i, get(b, 512 * i - 2, 2), 2), put(b, 512 * i - 2, usn, 2);
    return b;
  }
  vk::le_reader node() const { return vk::le_reader(m_bytes).from(fmt::rec_node_header); }

 private:
  std::vector<uint8_t> m_bytes;
  size_t m_live_end = first_entry;
};

}  // namespace indx_test
