#include "app/mft_states.h"

#include "ntfs/directory_tree.h"
#include "report/entry_fields.h"

std::optional<mft_state_info> mft_states::recovered(const indx_entry& entry, uint64_t name_digest) const {
  const std::optional<uint64_t> record = m_names.only_record_named(entry.parent_ref(), entry.created(), name_digest);
  if (!record) return std::nullopt;
  const mft_names::record_state found = m_names.state_of(*record);
  if (!found.seen) return std::nullopt;
  return mft_state_info{found.in_use ? mft_state::live : mft_state::deleted, make_mft_ref(*record, found.sequence), {}};
}

// The file's path now, from its record's preferred name and parent chain.
mft_state_info mft_states::moved(uint64_t record, uint16_t sequence) const {
  uint16_t reference_sequence = 0, record_sequence = 0;
  std::string path = path_of_entry(m_volume, record, reference_sequence, record_sequence);
  if (path.size() > 1 && path.back() == '\\') path.pop_back();
  return {mft_state::moved, make_mft_ref(record, sequence), std::move(path)};
}

mft_state_info mft_states::state_of(const indx_entry& entry) const {
  const uint64_t record = mft_entry_of(entry.file_ref);
  const uint16_t sequence = mft_sequence_of(entry.file_ref);
  const mft_names::record_state now = entry_number_missing(entry) ? mft_names::record_state{} : m_names.state_of(record);
  const uint64_t name_digest = mft_names::digest(entry.name);
  if (!now.seen) return recovered(entry, name_digest).value_or(mft_state_info{});
  const bool named = m_names.has_name(record, entry.parent_ref(), name_digest);
  if (now.in_use && now.sequence == sequence) {
    if (named) return {mft_state::live, entry.file_ref, {}};
    return moved(record, sequence);
  }
  const bool freed_once = now.sequence == sequence || now.sequence == static_cast<uint16_t>(sequence + 1);
  if (!now.in_use && freed_once && named) return {mft_state::deleted, make_mft_ref(record, now.sequence), {}};
  return recovered(entry, name_digest).value_or(mft_state_info{mft_state::reused, make_mft_ref(record, now.sequence), {}});
}
