#include "ntfs/mft_record.h"

#include <algorithm>

#include "ntfs/mft_format.h"
#include "ntfs/multi_sector.h"
#include "ntfs/ntfs.h"
#include "ntfs/stream_reader.h"
#include "support/le_reader.h"
#include "support/run_log.h"

namespace {

// Windows never lets $ATTRIBUTE_LIST grow past 256 KiB; a longer runlist
// comes from damage and is not read further.
constexpr uint64_t max_attribute_list_bytes = 256 * 1024;

namespace msf = multi_sector_format;

// The extension record an attribute list entry names, fetched once for a run
// of entries naming the same record (the list groups them).
class extension_records {
 public:
  explicit extension_records(CNtfs& volume) : m_volume(volume) {}
  const byte_array* get(uint64_t entry) {
    if (!m_have || m_entry != entry) {
      bool bad = false;
      m_have = true;
      m_entry = entry;
      m_usable = m_volume.fetch_record(m_buffer, bad, entry) && !bad &&
                 record_signature(m_buffer) == msf::signature_file;
    }
    return m_usable ? &m_buffer : nullptr;
  }

 private:
  CNtfs& m_volume;
  byte_array m_buffer;
  uint64_t m_entry = 0;
  bool m_have = false;
  bool m_usable = false;
};

// Each list entry names the record holding one attribute by its type and
// id.  Entries naming the base record itself are skipped: its attributes
// were walked already.  No list is followed from an extension record, so a
// list that names itself or loops between records cannot recurse.
void resolve_attribute_list(CNtfs& volume, uint64_t entry, std::span<const uint8_t> list,
                            std::vector<mft_attribute>& out) {
  const vk::le_reader reader(list);
  extension_records records(volume);
  size_t pos = 0;
  while (reader.has(pos, mft_format::list_entry_min)) {
    const uint32_t type = reader.u32(pos + mft_format::list_type);
    const uint16_t length = reader.u16(pos + mft_format::list_entry_length);
    const uint64_t holder = mft_entry_of(reader.u64(pos + mft_format::list_ref));
    const uint16_t id = reader.u16(pos + mft_format::list_attr_id);
    if (length == 0) break;
    pos += length;
    if (holder == entry) continue;
    vk::log_line("primary entry %llu pointing to ref entry %llu", static_cast<unsigned long long>(entry),
                 static_cast<unsigned long long>(holder));
    const byte_array* record = records.get(holder);
    if (record == nullptr) continue;
    for (const auto& span : attribute_spans(*record)) {
      const vk::le_reader attr(span);
      if (attr.u32(mft_format::attr_type) == type && attr.u16(mft_format::attr_id) == id) {
        out.push_back(make_attribute(span, holder));
        break;
      }
    }
  }
}

}  // namespace

bool has_file_signature(std::span<const uint8_t> record) {
  return record_signature(record) == msf::signature_file;
}

bool is_well_formed_file_record(std::span<const uint8_t> record) {
  const vk::le_reader reader(record);
  const bool well_formed = reader.u32(msf::signature) == msf::signature_file &&
                           reader.u16(msf::usa_offset) == mft_format::file_usa_offset &&
                           reader.u16(msf::usa_count) <= mft_format::file_usa_count_max &&
                           reader.u16(mft_format::rec_first_attribute) < mft_format::file_first_attribute_limit;
  return well_formed && reader.ok();
}

size_t implied_record_size(std::span<const uint8_t> record) {
  const uint16_t count = update_sequence_count(record);
  return count == 0 ? 0 : (count - 1) * msf::usa_block;
}

record_kind fix_up_record(std::span<uint8_t> record, size_t sector_size) {
  const uint16_t count = update_sequence_count(record);
  switch (record_signature(record)) {
    case msf::signature_file:
      if (!is_well_formed_file_record(record)) return record_kind::invalid;
      apply_fixup(record, fixup_stride(record.size(), count, sector_size));
      return record_kind::file;
    case msf::signature_indx:
      apply_fixup(record, fixup_stride(record.size(), count, sector_size));
      return record_kind::indx;
    case msf::signature_baad:
      return record_kind::baad;
    default:
      return record_kind::invalid;
  }
}

bool record_header::is_directory() const { return (flags & mft_format::rec_flag_directory) != 0; }

record_header read_record_header(std::span<const uint8_t> record) {
  const vk::le_reader reader(record);
  record_header header;
  header.sequence = reader.u16(mft_format::rec_sequence);
  header.flags = reader.u16(mft_format::rec_flags);
  header.bytes_allocated = reader.u32(mft_format::rec_bytes_allocated);
  header.base_ref = reader.u64(mft_format::rec_base_ref);
  return header;
}

bool load_mft_record(CNtfs& volume, uint64_t entry, mft_record& out) {
  out = mft_record{};
  out.entry = entry;
  byte_array buffer;
  bool bad = false;
  if (!volume.fetch_record(buffer, bad, entry)) {
    vk::log_line("err: mftfixup %llx", static_cast<unsigned long long>(entry));
    return false;
  }
  if (bad) {
    vk::log_line("err: recd bad %llx", static_cast<unsigned long long>(entry));
    return false;
  }
  if (record_signature(buffer) != msf::signature_file) return false;
  out.header = read_record_header(buffer);
  out.attributes = copy_attributes(buffer, entry);
  std::vector<byte_array> lists;
  for (const mft_attribute& attr : out.attributes) {
    if (attr.type == mft_format::type_attribute_list) lists.push_back(attribute_value(volume, attr, max_attribute_list_bytes));
  }
  for (const byte_array& list : lists) resolve_attribute_list(volume, entry, list, out.attributes);
  return true;
}
