#include "ntfs/mft_names.h"

#include <algorithm>
#include <cstring>

#include "ntfs/attributes.h"
#include "ntfs/file_name.h"
#include "ntfs/mft_record.h"
#include "support/le_reader.h"
#include "support/vk_string.h"

namespace {

// A multiply-and-rotate hash of eight bytes at a time: names are hashed once
// per record and once per reported entry, so it must be cheap.  The few
// names of one record, and the matches of one parent and creation time, are
// what it tells apart.
constexpr uint64_t mix_multiplier = 0x9E3779B97F4A7C15ULL;

uint64_t mix(uint64_t hash, uint64_t word) {
  hash ^= word * mix_multiplier;
  return (hash << 29 | hash >> 35) * 0xBF58476D1CE4E5B9ULL;
}

uint32_t fold(uint64_t hash) { return static_cast<uint32_t>(hash ^ (hash >> 32)); }

uint32_t parent_name_part(mft_ref parent, uint64_t digest) { return fold(mix(digest, parent)); }

uint64_t recovery_part(mft_ref parent, uint64_t created, uint64_t digest) {
  return mix(mix(digest ^ 0x5851F42D4C957F2DULL, parent), created);
}

}  // namespace

uint64_t mft_names::digest(std::string_view name) {
  uint64_t hash = name.size();
  size_t at = 0;
  for (; at + 8 <= name.size(); at += 8) {
    uint64_t word = 0;
    std::memcpy(&word, name.data() + at, 8);
    hash = mix(hash, word);
  }
  uint64_t tail = 0;
  std::memcpy(&tail, name.data() + at, name.size() - at);
  return mix(hash, tail);
}

void mft_names::take(uint64_t entry, std::span<const uint8_t> record) {
  const record_header header = read_record_header(record);
  // An extension record's names belong to its base record.
  const uint64_t owner = header.base_ref != 0 ? mft_entry_of(header.base_ref) : entry;
  if (owner > UINT32_MAX) return;
  if (header.base_ref == 0) {
    if (entry >= m_states.size()) m_states.resize(entry + 1);
    m_states[entry] = {true, (header.flags & mft_format::rec_flag_in_use) != 0, header.sequence, 0};
  }
  for_each_attribute(record, [&](std::span<const uint8_t> attribute) {
    if (vk::le_reader(attribute).u32(mft_format::attr_type) == mft_format::type_file_name)
      take_file_name(static_cast<uint32_t>(owner), resident_value_of(attribute));
  });
}

// The name is converted as index entries' names are, into one kept buffer.
void mft_names::take_file_name(uint32_t owner, std::span<const uint8_t> value) {
  const vk::le_reader reader(value);
  const size_t units = reader.u8(file_name_format::name_length);
  const mft_ref parent = reader.u64(file_name_format::parent_ref);
  const uint64_t created = reader.u64(file_name_format::created);
  if (!reader.ok() || !reader.has(file_name_format::name, 2 * units)) return;
  m_scratch.clear();
  vk::append_utf16le_as_utf8(m_scratch, value.subspan(file_name_format::name), units);
  const uint64_t name_digest = digest(m_scratch);
  m_names.push_back({owner, parent_name_part(parent, name_digest)});
  m_recovery.push_back({recovery_part(parent, created, name_digest), owner});
}

void mft_names::reserve(uint64_t records) {
  // One name a record is the common case; a DOS name or a hard link grows it.
  const size_t expected = static_cast<size_t>(std::min<uint64_t>(records, uint64_t{1} << 24));
  m_states.reserve(expected);
  m_names.reserve(expected);
  m_recovery.reserve(expected);
}

void mft_names::seal() {
  std::sort(m_names.begin(), m_names.end());
  m_names.erase(std::unique(m_names.begin(), m_names.end()), m_names.end());
  std::sort(m_recovery.begin(), m_recovery.end());
  m_recovery.erase(std::unique(m_recovery.begin(), m_recovery.end()), m_recovery.end());
  m_names.shrink_to_fit();
  // Each record's names are found from its own first one, not searched for.
  for (size_t i = m_names.size(); i-- > 0;)
    if (m_names[i].entry < m_states.size()) m_states[m_names[i].entry].first_name = static_cast<uint32_t>(i);
  m_recovery.shrink_to_fit();
}

mft_names::record_state mft_names::state_of(uint64_t entry) const {
  return entry < m_states.size() ? m_states[entry] : record_state{};
}

bool mft_names::has_name(uint64_t entry, mft_ref parent, uint64_t name_digest) const {
  if (entry >= m_states.size()) return false;
  const uint32_t wanted = parent_name_part(parent, name_digest);
  for (size_t i = m_states[entry].first_name; i < m_names.size() && m_names[i].entry == entry; ++i)
    if (m_names[i].hash == wanted) return true;
  return false;
}

std::optional<uint64_t> mft_names::only_record_named(mft_ref parent, uint64_t created, uint64_t name_digest) const {
  const uint64_t key = recovery_part(parent, created, name_digest);
  const auto first = std::lower_bound(m_recovery.begin(), m_recovery.end(), recovery_key{key, 0});
  if (first == m_recovery.end() || first->key != key) return std::nullopt;
  // Names of one record under one key (a hard link in the same folder with
  // the same creation time cannot differ in name) count once.
  for (auto it = first + 1; it != m_recovery.end() && it->key == key; ++it)
    if (it->entry != first->entry) return std::nullopt;
  return first->entry;
}
