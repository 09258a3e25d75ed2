// The entry stores one directory (or one INDX file) fills while its nodes are
// parsed, and the report the merge makes of them.  Every entry is stored
// once, in a vector; the maps and lists that order them hold entry numbers.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "indx/indx_entry.h"

// Key of a live entry: its parent's entry number and its lower-cased name.
// Keys are ordered as the text "<parent, decimal, zero-filled to width
// 10>_<name>" would be, which is the order live entries are reported in
// among equal times.
struct valid_key {
  uint64_t parent_entry = 0;
  std::string lower_name;

  // The key as that text.
  std::string text() const;
  bool operator<(const valid_key& other) const;
};

valid_key make_valid_key(mft_ref parent, std::string_view name);

// Live entries by key, each key once: the number of the entry, in the
// stores' vector before the merge and in the report's after it.
using valid_store = std::map<valid_key, uint32_t>;

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
  bool empty() const { return valid.empty() && slack.empty(); }

  // Stores a live entry unless its key is taken already (a second entry
  // under a key is not stored).
  void add_valid(indx_entry&& entry);
  void add_slack(indx_entry&& entry);

  // The live entry that sorts first, or nullptr.
  const indx_entry* first_valid() const { return valid.empty() ? nullptr : &entries[valid.begin()->second]; }

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
// with the file reference, head and offset of `reference_from` (the copy
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
