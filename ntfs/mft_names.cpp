#include "ntfs/mft_names.h"

#include <algorithm>

#include "ntfs/attributes.h"
#include "ntfs/file_name.h"
#include "ntfs/mft_record.h"
#include "support/le_reader.h"

namespace {

// FNV-1a, 64 bits folded to 32: enough to tell the few names of one record
// apart, and the recovery matches parent and creation time besides.
constexpr uint64_t fnv_offset = 14695981039346656037ULL, fnv_prime = 1099511628211ULL;

uint64_t fnv(uint64_t hash, std::span<const uint8_t> bytes) {
  for (const uint8_t byte : bytes) hash = (hash ^ byte) * fnv_prime;
  return hash;
}

std::span<const uint8_t> bytes_of(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

uint32_t fold(uint64_t hash) { return static_cast<uint32_t>(hash ^ (hash >> 32)); }

}  // namespace

uint32_t name_hash(std::string_view name) { return fold(fnv(fnv_offset, bytes_of(name))); }

uint32_t parent_name_hash(mft_ref parent, std::string_view name) {
  uint8_t parent_bytes[8];
  for (int i = 0; i < 8; ++i) parent_bytes[i] = static_cast<uint8_t>(parent >> (8 * i));
  return fold(fnv(fnv(fnv_offset, bytes_of(name)), parent_bytes));
}

void mft_names::take(uint64_t entry, std::span<const uint8_t> record) {
  const record_header header = read_record_header(record);
  // An extension record's names belong to its base record.
  const uint64_t owner = header.base_ref != 0 ? mft_entry_of(header.base_ref) : entry;
  if (owner > UINT32_MAX) return;
  if (header.base_ref == 0) {
    if (entry >= m_states.size()) m_states.resize(entry + 1);
    m_states[entry] = {true, (header.flags & mft_format::rec_flag_in_use) != 0, header.sequence};
  }
  for (const auto& attribute : attribute_spans(record)) {
    if (vk::le_reader(attribute).u32(mft_format::attr_type) != mft_format::type_file_name) continue;
    const std::span<const uint8_t> value = resident_value_of(attribute);
    file_name_value name;
    if (!read_file_name(value, name)) continue;
    const uint64_t created = vk::le_reader(value).u64(file_name_format::created);
    m_names.push_back({static_cast<uint32_t>(owner), parent_name_hash(name.parent_ref, name.name)});
    m_recovery.push_back({name.parent_ref, created, name_hash(name.name), static_cast<uint32_t>(owner)});
  }
}

void mft_names::seal() {
  std::sort(m_names.begin(), m_names.end());
  m_names.erase(std::unique(m_names.begin(), m_names.end()), m_names.end());
  std::sort(m_recovery.begin(), m_recovery.end());
  m_recovery.erase(std::unique(m_recovery.begin(), m_recovery.end()), m_recovery.end());
  m_names.shrink_to_fit();
  m_recovery.shrink_to_fit();
}

mft_names::record_state mft_names::state_of(uint64_t entry) const {
  return entry < m_states.size() ? m_states[entry] : record_state{};
}

bool mft_names::has_name(uint64_t entry, mft_ref parent, std::string_view name) const {
  if (entry > UINT32_MAX) return false;
  return std::binary_search(m_names.begin(), m_names.end(),
                            name_key{static_cast<uint32_t>(entry), parent_name_hash(parent, name)});
}

std::vector<uint64_t> mft_names::records_named(mft_ref parent, uint64_t created, std::string_view name) const {
  const uint32_t hash = name_hash(name);
  const auto first = std::lower_bound(m_recovery.begin(), m_recovery.end(), recovery_key{parent, created, hash, 0});
  std::vector<uint64_t> records;
  for (auto it = first; it != m_recovery.end() && it->parent == parent && it->created == created && it->name_hash == hash;
       ++it) {
    if (records.empty() || records.back() != it->entry) records.push_back(it->entry);
  }
  return records;
}
