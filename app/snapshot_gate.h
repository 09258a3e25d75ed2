// -vss all reports the live volume and then each shadow copy, newest first,
// in one report.  The gate decides, entry by entry, what an older state adds:
//
// - An entry identical to one already reported from a newer state (same
//   directory path, name, file reference and four times) is not repeated.
//   A live entry is repeated only by a live one: a file that was live in a
//   snapshot and survives on the volume only as slack is still shown live in
//   the snapshot.
// - A live entry of a shadow copy whose name is no longer live in its
//   directory on the volume is annotated "deleted since the snapshot".
//
// Entries are remembered by 128-bit hashes, not by their text: the memory
// grows by 16 bytes (and the hash set's own) per entry reported and per live
// name of the volume, whatever the names' lengths.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "indx/indx_entry.h"

// The annotation of a shadow copy's live entry whose name is not live on the volume.
inline constexpr std::string_view deleted_since_snapshot = "deleted since the snapshot";

class snapshot_gate {
 public:
  // The state whose entries come next: the live volume first, then the
  // shadow copies.  Entries reported in the state before become known.
  void begin_state(bool live);

  // The entry to write for `entry` of `directory` (the entry itself, or an
  // annotated copy), or nullptr when a newer state reported it already.
  // Every entry of an analysed directory passes here, `selected` or not:
  // the live names of the volume are learnt from all of them, but only
  // selected ones count as reported.
  const indx_entry* admit(const indx_entry& entry, const std::string& directory, bool selected);

  struct identity {
    uint64_t low = 0, high = 0;
    bool operator==(const identity&) const = default;
  };

 private:
  struct identity_hash {
    size_t operator()(const identity& id) const {
      return static_cast<size_t>(id.low ^ (id.high * 0x9e3779b97f4a7c15ULL));
    }
  };
  bool reported_before(const identity& id) const { return m_reported.count(id) != 0; }

  bool m_live = true;
  std::unordered_set<identity, identity_hash> m_reported;
  std::vector<identity> m_reported_now;
  std::unordered_set<identity, identity_hash> m_live_names;
  indx_entry m_annotated;
};
