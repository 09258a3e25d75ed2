// The entry stores one directory (or one INDX file) fills while its nodes are
// parsed, and the two collections the report walks after the merge.
#pragma once

#include <cstdint>
#include <array>
#include <compare>
#include <map>
#include <string>
#include <vector>

#include "indx/indx_entry.h"

// Live entries keyed by parent entry number, decimal, zero-filled to width
// 10, "_", the lower-cased name.  A second entry under a key is not stored.
using valid_store = std::map<std::string, indx_entry>;

struct entry_stores {
  valid_store valid;
  // Key: parent entry number; equal keys keep insertion order.
  std::multimap<uint64_t, indx_entry> slack;

  void clear() {
    valid.clear();
    slack.clear();
  }
  bool empty() const { return valid.empty() && slack.empty(); }

  // Entries found in the live part of a node that is not live after all (a
  // directory whose MFT record is no longer in use, an INDX record the index
  // has released) lose their valid mark and join the slack, so that the
  // merge annotates them as it annotates carved entries: "deleted", or
  // "exists [...]" when a live copy of them exists.
  void demote_valid_entries() {
    for (auto& [key, entry] : valid) {
      entry.is_valid = false;
      slack.emplace(mft_entry_of(entry.parent_ref()), std::move(entry));
    }
    valid.clear();
  }

  // Takes every entry of `other` as slack (the entries of a released record).
  void take_as_slack(entry_stores& other) {
    other.demote_valid_entries();
    slack.merge(other.slack);
  }
};

// What an entry is de-duplicated by: its name, lower-cased, and its
// modified, accessed, MFT-changed and created times.
struct entry_identity {
  std::string lower_name;
  std::array<uint64_t, 4> times{};

  auto operator<=>(const entry_identity&) const = default;
};

// One entry of the de-duplicated set: the first entry of its identity, shown
// with the file reference, head and offset of `reference_from` (the copy
// whose reference the merge preferred; the first itself unless replaced).
struct dedup_slot {
  uint32_t first = 0;
  uint32_t reference_from = 0;
};

// The entries of one directory (or one INDX file) as the report walks them.
// Each entry is stored once; the report order and the de-duplicated set
// refer to it by number.
struct entry_report {
  // Every entry, in the order the merge met them.
  std::vector<indx_entry> entries;
  // Numbers of `entries` by modified time; equal times keep merge order.
  std::vector<uint32_t> by_time;
  // One slot per identity.  The lookups need only equality; the order the
  // -nodups report walks is made by deduplicated().
  std::map<entry_identity, dedup_slot> dedup;

  void clear() {
    entries.clear();
    by_time.clear();
    dedup.clear();
  }

  // The entries in report order.
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
