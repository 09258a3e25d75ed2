// A small builder of NTFS structures for tests: attributes, file records
// with their update sequence, index entries and nodes, and whole volumes in
// memory, for the malformed cases that no real NTFS code writes.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/types.h"
#include "support/vk_string.h"

namespace ntfs_build {

inline void put(byte_array& bytes, size_t off, uint64_t value, size_t width) {
  if (bytes.size() < off + width) bytes.resize(off + width);
  for (size_t i = 0; i < width; ++i) bytes[off + i] = static_cast<uint8_t>(value >> (8 * i));
}
inline size_t align8(size_t n) { return (n + 7) & ~size_t{7}; }

// Writes a UTF-8 name as UTF-16LE; returns its length in code units.
inline size_t put_name(byte_array& bytes, size_t off, const std::string& utf8) {
  const std::u16string units = vk::utf8_to_utf16(utf8);
  for (size_t i = 0; i < units.size(); ++i) put(bytes, off + 2 * i, units[i], 2);
  return units.size();
}
inline size_t units_of(const std::string& utf8) { return vk::utf8_to_utf16(utf8).size(); }

// Mapping pairs for (cluster count, LCN delta) runs, each field as narrow
// as it goes; a delta of nullopt-like INT64_MIN makes a sparse run.
constexpr int64_t sparse = INT64_MIN;
inline byte_array mapping_pairs(const std::vector<std::pair<uint64_t, int64_t>>& runs) {
  byte_array out;
  for (const auto& [count, delta] : runs) {
    size_t count_width = 1, delta_width = 0;
    while (count_width < 8 && (count >> (8 * count_width)) != 0) ++count_width;
    if (delta != sparse) {
      delta_width = 1;
      while (delta_width < 8 && (delta < -(int64_t{1} << (8 * delta_width - 1)) ||
                                 delta >= (int64_t{1} << (8 * delta_width - 1)))) {
        ++delta_width;
      }
    }
    const size_t at = out.size();
    put(out, at, count_width | (delta_width << 4), 1);
    put(out, at + 1, count, count_width);
    if (delta_width) put(out, at + 1 + count_width, static_cast<uint64_t>(delta), delta_width);
  }
  out.push_back(0);
  return out;
}

inline byte_array resident(uint32_t type, const std::string& name, const byte_array& value, uint16_t id = 0) {
  byte_array a(24);
  const size_t value_off = align8(24 + 2 * units_of(name));
  put(a, 0, type, 4);
  put(a, 9, units_of(name), 1);
  put(a, 10, 24, 2);
  put(a, 14, id, 2);
  put(a, 16, value.size(), 4);
  put(a, 20, value_off, 2);
  put_name(a, 24, name);
  a.resize(align8(value_off + value.size()));
  std::copy(value.begin(), value.end(), a.begin() + static_cast<long>(value_off));
  put(a, 4, a.size(), 4);
  return a;
}

inline byte_array non_resident(uint32_t type, const std::string& name, const byte_array& pairs, uint64_t first_vcn,
                               uint64_t data_size, uint16_t id = 0) {
  byte_array a(64);
  const size_t pairs_off = align8(64 + 2 * units_of(name));
  put(a, 0, type, 4);
  put(a, 8, 1, 1);
  put(a, 9, units_of(name), 1);
  put(a, 10, 64, 2);
  put(a, 14, id, 2);
  put(a, 16, first_vcn, 8);
  put(a, 32, pairs_off, 2);
  put(a, 40, data_size, 8);
  put(a, 48, data_size, 8);
  put(a, 56, data_size, 8);
  put_name(a, 64, name);
  a.resize(align8(pairs_off + pairs.size()));
  std::copy(pairs.begin(), pairs.end(), a.begin() + static_cast<long>(pairs_off));
  put(a, 4, a.size(), 4);
  return a;
}

// A $FILE_NAME value (also the key of an index entry).
inline byte_array file_name(mft_ref parent, const std::string& name, uint32_t attr_flags = 0, uint8_t name_space = 1,
                            uint64_t time = 0x01D9000000000000ULL) {
  byte_array v(66);
  put(v, 0, parent, 8);
  for (size_t t = 8; t < 40; t += 8) put(v, t, time, 8);
  put(v, 56, attr_flags, 4);
  put(v, 64, units_of(name), 1);
  put(v, 65, name_space, 1);
  put_name(v, 66, name);
  return v;
}

inline byte_array index_entry(mft_ref file, const byte_array& key) {
  byte_array e(16);
  put(e, 0, file, 8);
  put(e, 10, key.size(), 2);
  e.insert(e.end(), key.begin(), key.end());
  e.resize(align8(e.size()));
  put(e, 8, e.size(), 2);
  return e;
}

inline byte_array last_entry() {
  byte_array e(16);
  put(e, 8, 16, 2);
  put(e, 12, 2, 2);
  return e;
}

// Node header (entries right after it) followed by the entries and a
// terminating entry; `allocated` is the node's allocated size.
inline byte_array index_node(const std::vector<byte_array>& entries, size_t allocated) {
  byte_array n(16);
  for (const auto& e : entries) n.insert(n.end(), e.begin(), e.end());
  const byte_array last = last_entry();
  n.insert(n.end(), last.begin(), last.end());
  put(n, 0, 16, 4);
  put(n, 4, n.size(), 4);
  put(n, 8, allocated, 4);
  return n;
}

inline byte_array index_root_value(const std::vector<byte_array>& entries) {
  byte_array v(16);
  put(v, 0, 0x30, 4);
  put(v, 4, 1, 4);
  put(v, 8, 4096, 4);
  put(v, 12, 1, 1);
  const byte_array node = index_node(entries, 0);
  v.insert(v.end(), node.begin(), node.end());
  put(v, 16 + 8, node.size(), 4);
  return v;
}

// Writes the update sequence number over the last word of every `stride`
// block, keeping the displaced words in the array.
inline void protect(byte_array& rec, size_t usa_offset, size_t count, size_t stride, uint16_t usn = 0x0101) {
  put(rec, 4, usa_offset, 2);
  put(rec, 6, count, 2);
  put(rec, usa_offset, usn, 2);
  for (size_t i = 1; i < count && stride * i <= rec.size(); ++i) {
    put(rec, usa_offset + 2 * i, rec[stride * i - 2] | (rec[stride * i - 1] << 8), 2);
    put(rec, stride * i - 2, usn, 2);
  }
}

inline byte_array indx_record(const std::vector<byte_array>& entries, size_t size = 4096) {
  byte_array r(size);
  r[0] = 'I', r[1] = 'N', r[2] = 'D', r[3] = 'X';
  const byte_array node = index_node(entries, size - 24);
  // Entries start after the array: node header at 24, entries at 64.
  std::copy(node.begin(), node.begin() + 16, r.begin() + 24);
  std::copy(node.begin() + 16, node.end(), r.begin() + 64);
  put(r, 24, 40, 4);
  put(r, 28, 40 + node.size() - 16, 4);
  protect(r, 40, size / 512 + 1, 512);
  return r;
}

inline byte_array file_record(const std::vector<byte_array>& attributes, uint16_t sequence = 1, uint16_t flags = 1,
                              size_t size = 1024, mft_ref base = 0) {
  byte_array r(size);
  r[0] = 'F', r[1] = 'I', r[2] = 'L', r[3] = 'E';
  const size_t count = size / 512 + 1;
  size_t off = align8(48 + 2 * count);
  put(r, 16, sequence, 2);
  put(r, 20, off, 2);
  put(r, 22, flags, 2);
  put(r, 28, size, 4);
  put(r, 32, base, 8);
  for (const auto& a : attributes) {
    std::copy(a.begin(), a.end(), r.begin() + static_cast<long>(off));
    off += a.size();
  }
  put(r, off, 0xFFFFFFFF, 4);
  put(r, 24, off + 8, 4);
  protect(r, 48, count, 512);
  return r;
}

// A volume in memory: 512-byte sectors, 4096-byte clusters, 1024-byte
// records, $MFT at cluster 4 covering `mft_records` records.
struct volume {
  static constexpr uint64_t cluster = 4096, record = 1024, mft_lcn = 4;
  byte_array bytes;

  explicit volume(size_t clusters = 256, uint64_t mft_records = 32) : bytes(clusters * cluster) {
    put(bytes, 3, 0x202020205346544EULL, 8);  // "NTFS    "
    put(bytes, 11, 512, 2);
    put(bytes, 13, 8, 1);
    put(bytes, 40, clusters * 8 - 1, 8);
    put(bytes, 48, mft_lcn, 8);
    put(bytes, 64, 0xF6, 1);
    put(bytes, 68, 1, 1);
    const uint64_t mft_clusters = mft_records * record / cluster;
    set_record(0, file_record({non_resident(0x80, "", mapping_pairs({{mft_clusters, mft_lcn}}), 0,
                                            mft_records * record)}));
  }
  void set_record(uint64_t entry, const byte_array& rec) { place(mft_lcn * cluster + entry * record, rec); }
  void place(uint64_t at, const byte_array& data) { std::copy(data.begin(), data.end(), bytes.begin() + static_cast<long>(at)); }
};

// A directory record with its index in the root only.
inline byte_array directory_record(mft_ref parent, const std::string& name, const std::vector<byte_array>& entries,
                                   uint16_t sequence = 1) {
  return file_record({resident(0x30, "", file_name(parent, name, 0x10000000)),
                      resident(0x90, "$I30", index_root_value(entries))},
                     sequence, 3);
}

}  // namespace ntfs_build
