#include "app/snapshot_gate.h"

#include <functional>

#include "support/vk_string.h"

namespace {

constexpr uint64_t fnv_offset_basis = 0xcbf29ce484222325ULL, fnv_prime = 0x100000001b3ULL;

void append_u64(std::string& key, uint64_t value) {
  for (int byte = 0; byte < 8; ++byte) key.push_back(static_cast<char>((value >> (8 * byte)) & 0xFF));
}

// Two independent 64-bit hashes of the key's bytes: FNV-1a and the
// standard library's.
snapshot_gate::identity identity_of(const std::string& key) {
  uint64_t fnv = fnv_offset_basis;
  for (const char c : key) fnv = (fnv ^ static_cast<uint8_t>(c)) * fnv_prime;
  return {fnv, static_cast<uint64_t>(std::hash<std::string>{}(key))};
}

// Directory, name, reference and times, and whether the entry is live.
snapshot_gate::identity entry_identity(const indx_entry& entry, const std::string& directory, bool live) {
  std::string key = directory;
  key.push_back('\0');
  key += entry.name;
  key.push_back('\0');
  append_u64(key, entry.file_ref);
  for (const uint64_t time : entry.times()) append_u64(key, time);
  key.push_back(live ? 'v' : 's');
  return identity_of(key);
}

// Names compare case-insensitively, as in a directory.
snapshot_gate::identity name_identity(const indx_entry& entry, const std::string& directory) {
  std::string key = vk::to_lower(directory);
  key.push_back('\0');
  vk::append_lower(key, entry.name);
  return identity_of(key);
}

}  // namespace

void snapshot_gate::begin_state(bool live) {
  m_live = live;
  m_reported.insert(m_reported_now.begin(), m_reported_now.end());
  m_reported_now.clear();
  m_reported_now.shrink_to_fit();
}

const indx_entry* snapshot_gate::admit(const indx_entry& entry, const std::string& directory, bool selected) {
  if (m_live) {
    if (entry.is_valid) m_live_names.insert(name_identity(entry, directory));
    if (selected) m_reported_now.push_back(entry_identity(entry, directory, entry.is_valid));
    return &entry;
  }
  const identity as_live = entry_identity(entry, directory, true);
  // A live entry is repeated only by a live one; a slack entry by either.
  if (reported_before(as_live)) return nullptr;
  if (!entry.is_valid && reported_before(entry_identity(entry, directory, false))) return nullptr;
  if (selected) m_reported_now.push_back(entry.is_valid ? as_live : entry_identity(entry, directory, false));
  if (!entry.is_valid || m_live_names.count(name_identity(entry, directory)) != 0) return &entry;
  m_annotated = entry;
  m_annotated.annotation = deleted_since_snapshot;
  return &m_annotated;
}
