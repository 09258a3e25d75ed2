// The entry stores one directory (or one INDX file) fills while its nodes are
// parsed, and the two collections the report walks after the merge.
#pragma once

#include <cstdint>
#include <map>
#include <string>

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

struct entry_report {
  // Every entry, ordered by modified time; ties keep insertion order.
  std::multimap<uint64_t, indx_entry> by_time;
  // De-duplicated by name and the four times (walked for -nodups).
  std::map<std::string, indx_entry> dedup;

  void clear() {
    by_time.clear();
    dedup.clear();
  }
};
