// The entry stores one directory (or one INDX file) fills while its nodes are
// parsed, and the report the merge makes of them.  Every entry is stored
// once, in a vector; the maps and lists that order them hold entry numbers.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "indx/indx_entry.h"

// Live entries are keyed by their parent's entry number and their
// lower-cased name, and ordered as the text "<parent, decimal, zero-filled
// to width 10>_<name>" would be: the order live entries are reported in
// among equal times.  The key as that text:
std::string valid_key_text(uint64_t parent_entry, std::string_view name);

// <0, 0 or >0 as key (parent_a, name_a) orders before, with or after
// (parent_b, name_b).
int compare_valid_keys(uint64_t parent_a, std::string_view name_a, uint64_t parent_b, std::string_view name_b);

// The live entries, each key once, as entry numbers in key order.  The
// numbers index a vector of entries the caller passes in: the stores'
// before the merge, the report's after it.  Numbers are added as entries are
// found and put in order by seal(), which also drops every entry whose key
// an earlier one holds.
class valid_store {
 public:
  bool empty() const { return m_numbers.empty(); }
  size_t size() const { return m_numbers.size(); }
  void clear();

  void add(uint32_t number, const std::vector<indx_entry>& entries);
  void seal(const std::vector<indx_entry>& entries);
  // The entry with the smallest key among those added; nothing when empty.
  std::optional<uint32_t> first() const { return m_first; }
  // In key order once sealed.
  const std::vector<uint32_t>& numbers() const { return m_numbers; }
  // The live entry under the key of (parent, name); sealed stores only.
  std::optional<uint32_t> find(mft_ref parent, std::string_view name, const std::vector<indx_entry>& entries) const;

  // Adds `base` to every number (the entries moved to the report).
  void renumber(uint32_t base);
  // Takes the keys of `other` that this store lacks; both sealed, their
  // numbers indexing `entries`.
  void absorb(valid_store& other, const std::vector<indx_entry>& entries);

 private:
  std::vector<uint32_t> m_numbers;
  bool m_sealed = true;
  std::optional<uint32_t> m_first;
};

struct entry_stores {
  // Every entry found, in the order found.
  std::vector<indx_entry> entries;
  valid_store valid;
  // Numbers of the slack entries, in the order found; the merge takes them
  // ordered by parent entry number.
  std::vector<uint32_t> slack;

  void clear() {
    entries.clear();
    valid.clear();
    slack.clear();
  }
  // Puts the live entries in key order; see valid_store::seal.
  void seal() { valid.seal(entries); }
  bool empty() const { return valid.empty() && slack.empty(); }

  // Stores a live entry; of entries under one key only the first found is
  // live (seal() drops the others).
  void add_valid(indx_entry&& entry);
  void add_slack(indx_entry&& entry);

  // The live entry that sorts first, or nullptr.
  const indx_entry* first_valid() const { return valid.first() ? &entries[*valid.first()] : nullptr; }

  // Entries found in the live part of a node that is not live after all (a
  // directory whose MFT record is no longer in use, an INDX record the index
  // has released) lose their valid mark and join the slack, so that the
  // merge annotates them as it annotates carved entries: "deleted", or
  // "exists [...]" when a live copy of them exists.
  void demote_valid_entries();

  // Takes every entry of `other` as slack (the entries of a released record).
  void take_as_slack(entry_stores& other);
};

// One entry of the de-duplicated set: the first entry of its identity, shown
// with the file reference and offset of `reference_from` (the copy
// whose reference the merge preferred; the first itself unless replaced).
struct dedup_slot {
  uint32_t first = 0;
  uint32_t reference_from = 0;
};

// The entries of one directory (or one INDX file) as the report walks them.
struct entry_report {
  // Every entry the merges took in, in the order they took them.
  std::vector<indx_entry> entries;
  // Numbers of the reported entries by modified time; equal times keep the
  // order of the merge.
  std::vector<uint32_t> by_time;
  // One slot per identity (an entry's name, lower-cased, and its modified,
  // accessed, MFT-changed and created times), ordered by identity for the
  // merge's lookups; the order the -nodups report walks is made by
  // deduplicated().
  std::vector<dedup_slot> dedup;

  void clear() {
    entries.clear();
    by_time.clear();
    dedup.clear();
  }

  // The reported entries in report order.
  std::vector<const indx_entry*> in_time_order() const {
    std::vector<const indx_entry*> order;
    order.reserve(by_time.size());
    for (const uint32_t number : by_time) order.push_back(&entries[number]);
    return order;
  }

  // The de-duplicated entries as -nodups reports them, ordered by identity
  // key (identity_key in indx/merge.h).
  std::vector<indx_entry> deduplicated() const;
};
