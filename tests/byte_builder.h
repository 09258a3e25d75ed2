// The one byte builder of the tests: index entries and INDX records, MFT file
// records and their attributes, whole NTFS volumes, partitioned disks and
// VMDK sparse extents, written byte by byte for the cases no real tool
// writes (torn records, hostile headers, damaged lengths).  Every field is
// written at the offset the product names in its format headers, so each
// layout is described once, there.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "disk/boot_sector_format.h"
#include "disk/partition_format.h"
#include "disk/vmdk_format.h"
#include "indx/indx_format.h"
#include "ntfs/file_name.h"
#include "ntfs/mft_format.h"
#include "ntfs/multi_sector.h"
#include "support/le_reader.h"
#include "support/types.h"
#include "support/vk_string.h"
#include "support/vk_time.h"

namespace build {

namespace ms = multi_sector_format;
namespace fn = file_name_format;
namespace ix = indx_format;
namespace mf = mft_format;
namespace bs = boot_sector_format;
namespace pf = partition_format;

// ---- bytes

// `value` little-endian in `width` bytes at `at`; the buffer grows to hold it.
inline void put(byte_array& b, size_t at, uint64_t value, size_t width) {
  if (b.size() < at + width) b.resize(at + width);
  for (size_t i = 0; i < width; ++i) b[at + i] = static_cast<uint8_t>(value >> (8 * i));
}
// One field of a structure: its offset, value and width in bytes.
struct field {
  size_t at;
  uint64_t value;
  size_t width;
};
inline void put_fields(byte_array& b, size_t base, std::initializer_list<field> fields) {
  for (const field& f : fields) put(b, base + f.at, f.value, f.width);
}
inline void put_bytes(byte_array& b, size_t at, const byte_array& part) {
  if (b.size() < at + part.size()) b.resize(at + part.size());
  std::copy(part.begin(), part.end(), b.begin() + static_cast<std::ptrdiff_t>(at));
}
inline void put_text(byte_array& b, size_t at, std::string_view text) {
  put_bytes(b, at, byte_array(text.begin(), text.end()));
}
inline void append(byte_array& b, const byte_array& part) { b.insert(b.end(), part.begin(), part.end()); }
// A UTF-8 name written as UTF-16LE; returns its length in code units.
inline size_t put_utf16(byte_array& b, size_t at, const std::string& utf8) {
  const std::u16string units = vk::utf8_to_utf16(utf8);
  for (size_t i = 0; i < units.size(); ++i) put(b, at + 2 * i, units[i], 2);
  return units.size();
}
inline size_t units_of(const std::string& utf8) { return vk::utf8_to_utf16(utf8).size(); }
constexpr size_t align8(size_t n) { return (n + 7) & ~size_t{7}; }
inline uint16_t u16_at(const byte_array& b, size_t at) { return vk::le_reader(b).u16(at); }

// As NTFS writes a multi-sector record: the update sequence number over the
// last word of every `stride` bytes, the displaced words kept in the array.
inline void protect(byte_array& rec, size_t usa_at, size_t count, size_t stride = ms::usa_block,
                    uint16_t usn = 0x0101) {
  put_fields(rec, 0, {{ms::usa_offset, usa_at, 2}, {ms::usa_count, count, 2}, {usa_at, usn, 2}});
  for (size_t i = 1; i < count && stride * i <= rec.size(); ++i) {
    put(rec, usa_at + 2 * i, u16_at(rec, stride * i - 2), 2);
    put(rec, stride * i - 2, usn, 2);
  }
}

// ---- $FILE_NAME values and index entries

inline const uint64_t june_2023 = vk::filetime_from_date(2023, 6, 5);

// An index entry, or (without its file reference) the $FILE_NAME value that
// is its key.  Names are UTF-8, written as UTF-16.
struct entry_plan {
  std::string name = "file.txt";
  mft_ref parent = make_mft_ref(5, 5);
  uint64_t created = june_2023, modified = june_2023 + 1, changed = june_2023 + 2, accessed = june_2023 + 3;
  mft_ref file_ref = make_mft_ref(100, 1);
  uint64_t real_size = 100, alloc_size = 4096;
  uint32_t flags = file_attribute::archive;
  uint8_t name_space = fn::namespace_win32;
};

inline byte_array file_name(const entry_plan& p) {
  byte_array v(fn::name);
  put_fields(v, 0,
             {{fn::parent_ref, p.parent, 8},
              {fn::created, p.created, 8},
              {fn::modified, p.modified, 8},
              {fn::mft_changed, p.changed, 8},
              {fn::accessed, p.accessed, 8},
              {fn::alloc_size, p.alloc_size, 8},
              {fn::real_size, p.real_size, 8},
              {fn::attr_flags, p.flags, 4},
              {fn::name_length, units_of(p.name), 1},
              {fn::name_space, p.name_space, 1}});
  put_utf16(v, fn::name, p.name);
  return v;
}

// The entry as stored: head, key, padding to 8 bytes.
inline byte_array index_entry(const entry_plan& p) {
  const byte_array key = file_name(p);
  byte_array e;
  put(e, ix::ent_file_ref, p.file_ref, 8);
  put(e, ix::ent_key_length, key.size(), 2);
  put_bytes(e, ix::ent_key, key);
  e.resize(align8(e.size()));
  put(e, ix::ent_length, e.size(), 2);
  return e;
}

inline byte_array last_entry() {
  byte_array e(ix::ent_head_size);
  put_fields(e, 0, {{ix::ent_length, ix::ent_head_size, 2}, {ix::ent_flags, ix::entry_flag_last, 2}});
  return e;
}

// The $INDEX_ROOT value: a 16-byte root header (indexed type, collation,
// record size) that this tool does not read, so zeros; then the node: its
// header, the entries right after it, a terminating entry.
constexpr size_t index_root_header_size = 16;
inline byte_array index_root_value(const std::vector<byte_array>& entries) {
  byte_array n(ix::node_header_size);
  for (const byte_array& e : entries) append(n, e);
  append(n, last_entry());
  put_fields(n, 0,
             {{ix::node_entries_offset, ix::node_header_size, 4},
              {ix::node_used_size, n.size(), 4},
              {ix::node_allocated_size, n.size(), 4}});
  n.insert(n.begin(), index_root_header_size, 0);
  return n;
}

// A 4096-byte INDX record.  The update sequence array follows the node
// header and the entries the array, as Windows lays them out; offsets taken
// by the node members count from the node header.
class indx_record {
 public:
  static constexpr size_t usa_at = ix::rec_node_header + ix::node_header_size;
  static constexpr size_t usa_count = ix::record_size / ms::usa_block + 1;
  static constexpr size_t first_entry = align8(usa_at + 2 * usa_count) - ix::rec_node_header;

  indx_record() : m_bytes(ix::record_size) {
    put(m_bytes, ms::signature, ms::signature_indx, 4);
    put_fields(m_bytes, ix::rec_node_header,
               {{ix::node_entries_offset, first_entry, 4}, {ix::node_allocated_size, ix::node_limit_in_record, 4}});
  }
  // Returns the entry's node offset.
  size_t add_live(const byte_array& entry) {
    plant(m_live_end, entry);
    m_live_end += entry.size();
    return m_live_end - entry.size();
  }
  size_t add_live(const entry_plan& plan) { return add_live(index_entry(plan)); }
  // The terminating entry and the used size; returns where the slack starts.
  size_t end_live() {
    plant(m_live_end, last_entry());
    put_node(ix::node_used_size, m_live_end + ix::ent_head_size, 4);
    return m_live_end;
  }
  // Bytes past the end of the record are dropped.
  void plant(size_t node_offset, const byte_array& part) {
    const size_t at = ix::rec_node_header + node_offset;
    if (at < m_bytes.size())
      std::copy_n(part.begin(), std::min(part.size(), m_bytes.size() - at), m_bytes.begin() + static_cast<long>(at));
  }
  void plant(size_t node_offset, const entry_plan& plan) { plant(node_offset, index_entry(plan)); }
  void put_node(size_t node_offset, uint64_t value, size_t width) {
    byte_array field;
    put(field, 0, value, width);
    plant(node_offset, field);
  }
  byte_array on_disk() const {
    byte_array b = m_bytes;
    protect(b, usa_at, usa_count);
    return b;
  }
  // The node as a reader sees it once the record is fixed up.
  vk::le_reader node() const { return vk::le_reader(m_bytes).from(ix::rec_node_header); }

 private:
  byte_array m_bytes;
  size_t m_live_end = first_entry;
};

inline byte_array indx_record_of(const std::vector<byte_array>& entries) {
  indx_record r;
  for (const byte_array& e : entries) r.add_live(e);
  r.end_live();
  return r.on_disk();
}

// ---- attributes and file records

// Where NTFS places an attribute's name: after the resident header (24
// bytes) or the non-resident one (64); the header's name offset says so.
constexpr size_t resident_header_size = 24, non_resident_header_size = 64;

inline size_t body_offset(size_t header, const std::string& name) { return align8(header + 2 * units_of(name)); }

// The fields both forms share, the name after the header, the form's own
// fields, then the body (value or mapping pairs) on the next 8-byte boundary.
inline byte_array attribute(size_t header, uint32_t type, const std::string& name, uint16_t id, const byte_array& body,
                            std::initializer_list<field> own) {
  byte_array a(header);
  put_fields(a, 0,
             {{mf::attr_type, type, 4},
              {mf::attr_non_resident, header == non_resident_header_size, 1},
              {mf::attr_name_length, put_utf16(a, header, name), 1},
              {mf::attr_name_offset, header, 2},
              {mf::attr_id, id, 2}});
  put_fields(a, 0, own);
  put_bytes(a, body_offset(header, name), body);
  a.resize(align8(a.size()));
  put(a, mf::attr_length, a.size(), 4);
  return a;
}

inline byte_array resident(uint32_t type, const std::string& name, const byte_array& value, uint16_t id = 0) {
  return attribute(
      resident_header_size, type, name, id, value,
      {{mf::attr_value_length, value.size(), 4}, {mf::attr_value_offset, body_offset(resident_header_size, name), 2}});
}

inline byte_array non_resident(uint32_t type, const std::string& name, const byte_array& pairs, uint64_t first_vcn,
                               uint64_t data_size, uint16_t id = 0) {
  return attribute(non_resident_header_size, type, name, id, pairs,
                   {{mf::attr_first_vcn, first_vcn, 8},
                    {mf::attr_mapping_pairs, body_offset(non_resident_header_size, name), 2},
                    {mf::attr_data_size, data_size, 8}});
}

// Mapping pairs of (cluster count, LCN delta) runs, each field as narrow as
// it goes; a delta of `sparse` makes a sparse run.
constexpr int64_t sparse = INT64_MIN;
inline byte_array mapping_pairs(const std::vector<std::pair<uint64_t, int64_t>>& runs) {
  byte_array out;
  for (const auto& [count, delta] : runs) {
    size_t count_width = 1, delta_width = 0;
    while (count_width < 8 && (count >> (8 * count_width)) != 0) ++count_width;
    if (delta != sparse) {
      delta_width = 1;
      while (delta_width < 8 &&
             (delta < -(int64_t{1} << (8 * delta_width - 1)) || delta >= (int64_t{1} << (8 * delta_width - 1))))
        ++delta_width;
    }
    const size_t at = out.size();
    put(out, at, count_width | (delta_width << 4), 1);
    put(out, at + 1, count, count_width);
    if (delta_width) put(out, at + 1 + count_width, static_cast<uint64_t>(delta), delta_width);
  }
  out.push_back(0);
  return out;
}

// One $ATTRIBUTE_LIST entry, padded to 8 bytes.
inline byte_array list_entry(uint32_t type, uint64_t first_vcn, mft_ref holder, uint16_t id) {
  byte_array e(align8(mf::list_entry_min));
  put_fields(e, 0,
             {{mf::list_type, type, 4},
              {mf::list_entry_length, e.size(), 2},
              {mf::list_first_vcn, first_vcn, 8},
              {mf::list_ref, holder, 8},
              {mf::list_attr_id, id, 2}});
  return e;
}

// A $REPARSE_POINT value of a junction or symbolic link.
inline byte_array link_value(uint32_t tag, const std::string& substitute, const std::string& print,
                             uint32_t flags = 0) {
  const size_t buffer = tag == mf::reparse_tag_symlink ? mf::reparse_symlink_buffer : mf::reparse_mount_point_buffer;
  byte_array v(buffer);
  put(v, mf::reparse_tag, tag, 4);
  const size_t substitute_bytes = 2 * put_utf16(v, buffer, substitute);
  const size_t print_bytes = 2 * put_utf16(v, buffer + substitute_bytes, print);
  put_fields(v, 0,
             {{mf::reparse_substitute_offset, 0, 2},
              {mf::reparse_substitute_length, substitute_bytes, 2},
              {mf::reparse_print_offset, substitute_bytes, 2},
              {mf::reparse_print_length, print_bytes, 2}});
  if (tag == mf::reparse_tag_symlink) put(v, mf::reparse_symlink_flags, flags, 4);
  return v;
}

inline byte_array file_record(const std::vector<byte_array>& attributes, uint16_t sequence = 1,
                              uint16_t flags = mf::rec_flag_in_use, size_t size = 1024, mft_ref base = 0) {
  byte_array r(size);
  const size_t count = size / ms::usa_block + 1;
  size_t at = align8(mf::file_usa_offset + 2 * count);
  put_fields(r, 0,
             {{ms::signature, ms::signature_file, 4},
              {mf::rec_sequence, sequence, 2},
              {mf::rec_first_attribute, at, 2},
              {mf::rec_flags, flags, 2},
              {mf::rec_bytes_allocated, size, 4},
              {mf::rec_base_ref, base, 8}});
  for (const byte_array& a : attributes) put_bytes(r, at, a), at += a.size();
  put(r, at + mf::attr_type, mf::attr_end_marker, 4);
  protect(r, mf::file_usa_offset, count);
  return r;
}

inline byte_array directory_record(mft_ref parent, const std::string& name, const std::vector<byte_array>& entries,
                                   uint16_t sequence = 1) {
  return file_record({resident(mf::type_file_name, "",
                               file_name({.name = name, .parent = parent, .flags = file_attribute::has_index})),
                      resident(mf::type_index_root, "$I30", index_root_value(entries))},
                     sequence, mf::rec_flag_in_use | mf::rec_flag_directory);
}

// ---- volumes and disks

// An NTFS volume in memory: 512-byte sectors, 4096-byte clusters, 1024-byte
// records (0xF6: 2^10 bytes), $MFT at cluster 4 covering `mft_records`.
struct volume {
  static constexpr uint64_t sector = 512, cluster = 4096, record = 1024, mft_lcn = 4;
  static constexpr uint8_t record_size_code = 0xF6;
  byte_array bytes;

  explicit volume(size_t clusters = 256, uint64_t mft_records = 32) : bytes(clusters * cluster) {
    put_text(bytes, bs::oem_name, bs::ntfs_oem);
    put_fields(bytes, 0,
               {{bs::bytes_per_sector, sector, 2},
                {bs::sectors_per_cluster, cluster / sector, 1},
                {bs::ntfs_total_sectors, clusters * (cluster / sector) - 1, 8},
                {bs::ntfs_mft_lcn, mft_lcn, 8},
                {bs::ntfs_clusters_per_mft_record, record_size_code, 1},
                {bs::ntfs_clusters_per_index_record, 1, 1}});
    set_record(
        0, file_record({non_resident(mf::type_data, "", mapping_pairs({{mft_records * record / cluster, mft_lcn}}), 0,
                                     mft_records * record)}));
  }
  static constexpr uint64_t record_at(uint64_t entry) { return mft_lcn * cluster + entry * record; }
  void set_record(uint64_t entry, const byte_array& rec) { put_bytes(bytes, record_at(entry), rec); }
  void place(uint64_t at, const byte_array& data) { put_bytes(bytes, at, data); }
};

// Entry `index` of the partition table of the boot record at byte `record`.
inline void mbr_entry(byte_array& disk, size_t record, size_t index, uint8_t type, uint32_t lba, uint32_t count) {
  put_fields(
      disk, record + pf::mbr_table + pf::mbr_entry_size * index,
      {{pf::mbr_entry_type, type, 1}, {pf::mbr_entry_start_lba, lba, 4}, {pf::mbr_entry_sector_count, count, 4}});
}
// The 0xAA55 that ends a 512-byte boot record starting at `record`.
inline void boot_signature(byte_array& disk, size_t record) {
  put(disk, record + pf::mbr_signature, pf::boot_signature, 2);
}
// ---- VMDK

// A small valid sparse extent: 64 sectors in grains of 8 sectors, 4 entries
// per grain table, so two tables.  Sectors: 0 header, 1 descriptor, 2 grain
// directory, 3 and 4 the tables, 8 to 23 grain data.  Grain 0 holds 0x11,
// grain 5 0x55, grain 6 points past the end of the file, grain 7 is zeroed.
struct sparse_extent {
  static constexpr uint64_t sector = vmdk_format::sector_size, directory = 2, tables = 3;
  byte_array bytes = byte_array(24 * sector);

  sparse_extent() {
    namespace vf = vmdk_format;
    put_fields(bytes, 0,
               {{vf::hdr_magic, vf::sparse_magic, 4},
                {vf::hdr_version, 1, 4},
                {vf::hdr_flags, vf::flag_valid_newline_test | vf::flag_zeroed_grain_gte, 4},
                {vf::hdr_capacity, 64, 8},
                {vf::hdr_grain_size, 8, 8},
                {vf::hdr_descriptor_offset, 1, 8},
                {vf::hdr_descriptor_size, 1, 8},
                {vf::hdr_gtes_per_gt, 4, 4},
                {vf::hdr_gd_offset, directory, 8},
                {vf::hdr_overhead, 8, 8}});
    put_text(bytes, vf::hdr_single_end_line, "\n \r\n");
    put_text(bytes, sector, "# Disk DescriptorFile\nCID=0000000a\nparentCID=ffffffff\nRW 64 SPARSE \"x.vmdk\"\n");
    for (uint32_t table : {0, 1}) put(bytes, directory * sector + table * vf::table_entry_size, tables + table, 4);
    set_grain(0, 8, 0x11);
    set_grain(5, 16, 0x55);
    set_grain(6, 1000, 0);
    set_grain(7, vf::gte_zeroed, 0);
  }
  void set_grain(size_t grain, uint32_t at_sector, uint8_t fill) {
    put(bytes, (tables + grain / 4) * sector + (grain % 4) * vmdk_format::table_entry_size, at_sector, 4);
    if (at_sector >= 8 && (at_sector + 8) * sector <= bytes.size())
      std::fill_n(bytes.begin() + static_cast<long>(at_sector * sector), 8 * sector, fill);
  }
};

}  // namespace build
